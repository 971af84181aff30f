#include "kova-data-reader/scan-decoding/eight_peaks.h"
#include "kova-data-reader/scan-decoding/frame_scans.h"

namespace lumo::io::kova {

std::uint32_t decodeScansByVector128(const FrameScans& frame, std::uint32_t scan, std::uint32_t end,
                                     ScanTargets& targets) {
    ScanTargets next = targets;
    for (; scan < end; ++scan) {
        const std::size_t peaks = (frame.starts[scan + 1] - frame.starts[scan]) / 2;
        if (peaks > 0 && !lanes::decodeScanByEight(frame, frame.starts[scan], peaks, next)) {
            break;
        }
        next.advance(peaks);
    }
    targets = next;
    return scan;
}

}  // namespace lumo::io::kova
