#include "kova-data-reader/scan-reading/scan_reader.h"

#include <stdexcept>

#include "diag/throw.h"
#include "kova-data-reader/database/frame_info.h"

// The one way from a range of scans to peaks in a sink, whatever the storage. The scale of a frame's
// intensities needs its row in the database; the last one is kept, since scans of one frame are mostly read
// one after the other.
namespace lumo::io::kova {

namespace {

void requireOrder(const ScanRange& range) {
    if (range.end < range.begin) {
        LUMO_THROW(std::invalid_argument("scan_end must be >= scan_begin."));
    }
}

}  // namespace

void ScanReader::read(const ScanRange& range, NormalizationType type, ScanSink& sink) {
    requireOrder(range);
    if (range.begin == range.end) {
        // It has no peaks, but a frame that does not exist or is damaged is reported all the same.
        storage.hintWillReadScanRange(range);
        sink.start({range, 0});
        return;
    }
    storage.read(range, {scaleOf(range.frameId, type), bins}, sink);
}

void ScanReader::hintWillReadScanRange(const ScanRange& range) {
    requireOrder(range);
    storage.hintWillReadScanRange(range);
}

const IntensityScale& ScanReader::scaleOf(std::int64_t frameId, NormalizationType type) {
    if (!lastScale || lastScale->frameId != frameId || lastScale->type != type) {
        const NormalizationType resolved =
            type == NormalizationType::AnalysisDefault ? analysisDefault : type;
        lastScale = {frameId, type, makeIntensityScale(resolved, [&]() -> const FrameInfo& {
                         return frames.getFrameInfo(frameId);
                     })};
    }
    return lastScale->scale;
}

}  // namespace lumo::io::kova
