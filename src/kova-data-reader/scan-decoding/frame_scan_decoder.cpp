#include "kova-data-reader/scan-decoding/frame_scan_decoder.h"

#include <algorithm>

#include "diag/errors.h"
#include "diag/throw.h"
#include "kova-data-reader/blob/kvd_frame_reader.h"
#include "kova-data-reader/kvd_reader.h"
#include "kova-data-reader/scan-decoding/bin_limit.h"

namespace lumo::io::kova {

PreparedRange FrameScanDecoder::prepare(std::int64_t frameId, std::uint32_t begin, std::uint32_t end) {
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    frame = &reader.loadFrame(frameId);
    PreparedRange range{.isWithoutPeaks = frame->isWithoutPeaks(), .direct = this};
    // The range may claim billions of scans that the frame does not have.
    const std::uint32_t existingEnd = std::min(end, frame->numberOfScans());
    for (std::uint32_t scan = begin; scan < existingEnd && !range.isWithoutPeaks; ++scan) {
        frame->get(scan, first, last);
        if ((last - first) % 2 != 0) {
            LUMO_THROW(
                CorruptScanDataError(frameId, scan, "number of decompressed entries not an even number."));
        }
        range.peakBound += (last - first) / 2;
    }
    if (end > existingEnd) {
        frame->get(std::max(begin, existingEnd), first, last);
    }
    return range;
}

void FrameScanDecoder::decodeRange(std::uint32_t begin, std::uint32_t end, const IntensityScale& scale,
                                   ScanTargets& targets) {
    kernel.decode(scansOfFrame(scale), begin, end, reader.binLimit(), targets);
}

std::uint64_t FrameScanDecoder::countPeaks(std::uint32_t begin, std::uint32_t end) {
    const FrameScans scans = scansOfFrame({});
    std::uint64_t peaks = 0;
    for (std::uint32_t scan = begin; scan < end && !frame->isWithoutPeaks(); ++scan) {
        peaks += kernel.decode(scans, scan, reader.binLimit(), {});
    }
    return peaks;
}

FrameScans FrameScanDecoder::scansOfFrame(const IntensityScale& scale) const {
    const ByteBuffer& shuffled = frame->shuffledWords();
    return {shuffled.data(), shuffled.size() / sizeof(std::uint32_t), frame->scanStarts().data(),
            reader.binLimit().binCount(), scale};
}

}  // namespace lumo::io::kova
