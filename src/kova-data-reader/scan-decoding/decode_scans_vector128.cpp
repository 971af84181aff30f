#include "kova-data-reader/scan-decoding/eight_peaks.h"
#include "kova-data-reader/scan-decoding/frame_scans.h"

// Eight peaks at a time with vectors of 128 bits, which every processor of these architectures has. The work
// is done by the form that all levels share. Scans in which a peak is dropped are left to the plain form.
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
