#pragma once

#include "analysis-writer/analysis_settings.h"
#include "analysis-writer/frame.h"
#include "analysis-writer/frame_block.h"
#include "analysis-writer/metadata_records.h"

namespace analysis_writer {

struct EncodedFrame {
    FrameRecord row;  // KovaId is set when the block is written
    Bytes block;
};

// Makes the block and the row of a frame. Frames are independent of each other, so threads may encode with an
// encoder each while one of them writes.
class FrameEncoder {
public:
    explicit FrameEncoder(const AnalysisSettings& given) : settings(given), frameEncoder(given.zstdLevel) {}

    // NumPeaks, NumScans, SummedIntensities and MaxIntensity are set unless the row states them.
    EncodedFrame encode(FrameRecord row, const Frame& frame);
    EncodedFrame encode(FrameRecord row, const Spectrum& spectrum) const;

private:
    AnalysisSettings settings;
    FrameBlockEncoder frameEncoder;
};

}  // namespace analysis_writer
