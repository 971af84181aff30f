#pragma once

#include <cstdint>
#include <optional>

#include "kova-data-reader/scan-decoding/bin_limit.h"
#include "kova-data-reader/scan-reading/normalization.h"
#include "kova-data-reader/scan-reading/scan_storage.h"

namespace lumo::io::kova {

class FrameInfoTable;

// The one way in which peaks leave an analysis. It checks the range, finds the scale of the frame, has the
// storage load what the range needs, and lets it decode straight into a sink. Used by one thread at a time.
class ScanReader {
public:
    // Storage and table must outlive it. Indices from `binCount` on are dropped; the first one is logged.
    ScanReader(ScanStorage& scanStorage, FrameInfoTable& frameTable, NormalizationType typeOfAnalysis,
               std::uint32_t binCount)
        : storage(scanStorage), frames(frameTable), analysisDefault(typeOfAnalysis), bins(binCount) {}

    // Reads a range into a sink. Raises std::invalid_argument "scan_end must be >= scan_begin." and what
    // reading these scans raises. Of an empty range the sink hears start() only, and no more than the frame's
    // header is read. Where frames are compressed as a whole, several ranges of one frame, one call after the
    // other, cost one read of the file.
    void read(const ScanRange& range, NormalizationType type, ScanSink& sink);

    // Announces the scans that will be read next, so that they are fetched together.
    void hintWillReadScanRange(const ScanRange& range);

    // The number of scans of a frame: from its header alone, or by loading the frame, so that a damaged one
    // is noticed.
    std::uint32_t numberOfScans(std::int64_t frameId) { return storage.numberOfScans(frameId); }
    std::uint32_t loadFrame(std::int64_t frameId) { return storage.loadFrame(frameId); }

    NormalizationType defaultNormalization() const { return analysisDefault; }
    std::uint32_t binCount() const { return bins.binCount(); }

private:
    // The scale of a frame does not change, so that of the last call is kept.
    struct FrameScale {
        std::int64_t frameId;
        NormalizationType type;
        IntensityScale scale;
    };

    const IntensityScale& scaleOf(std::int64_t frameId, NormalizationType type);

    ScanStorage& storage;
    FrameInfoTable& frames;
    NormalizationType analysisDefault;
    BinLimit bins;
    std::optional<FrameScale> lastScale;
};

}  // namespace lumo::io::kova
