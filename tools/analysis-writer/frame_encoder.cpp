#include "analysis-writer/frame_encoder.h"

#include <algorithm>
#include <utility>

#include "analysis-writer/scan_blocks.h"

// Counts and sums of a row follow from the peaks unless the row states them; tests state others to contradict
// the data.
namespace analysis_writer {

namespace {

template <typename T>
void setUnlessGiven(std::optional<T>& field, T value) {
    if (!field)
        field = value;
}

void summarise(const Frame& frame, FrameRecord& row) {
    std::int64_t peaks = 0;
    std::int64_t sum = 0;
    std::int64_t largest = 0;
    for (const Scan& scan : frame) {
        peaks += static_cast<std::int64_t>(scan.size());
        for (const Peak& peak : scan) {
            sum += peak.intensity;
            largest = std::max<std::int64_t>(largest, peak.intensity);
        }
    }
    setUnlessGiven(row.numScans, static_cast<std::int64_t>(frame.size()));
    setUnlessGiven(row.numPeaks, peaks);
    setUnlessGiven(row.summedIntensities, sum);
    setUnlessGiven(row.maxIntensity, largest);
}

void summarise(const Spectrum& spectrum, FrameRecord& row) {
    std::int64_t sum = 0;
    std::int64_t largest = 0;
    for (const std::uint32_t intensity : spectrum.profile) {
        sum += intensity;
        largest = std::max<std::int64_t>(largest, intensity);
    }
    setUnlessGiven(row.numPeaks, static_cast<std::int64_t>(spectrum.lines.positions.size()));
    setUnlessGiven(row.summedIntensities, sum);
    setUnlessGiven(row.maxIntensity, largest);
}

}  // namespace

EncodedFrame FrameEncoder::encode(FrameRecord row, const Frame& frame) {
    summarise(frame, row);
    if (settings.compressionType == 1) {
        return {std::move(row), scanFrameBlock(frame)};
    }
    const ByteView block = frameEncoder.encode(frame);
    return {std::move(row), Bytes(block.begin(), block.end())};
}

EncodedFrame FrameEncoder::encode(FrameRecord row, const Spectrum& spectrum) const {
    summarise(spectrum, row);
    return {std::move(row), spectrumBlock(spectrum, settings.parts, settings.zstdLevel)};
}

}  // namespace analysis_writer
