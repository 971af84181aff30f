#include "kova-data-reader/scan-decoding/frame_scan_kernel.h"

#include <span>

#include "kova-data-reader/blob/byte_shuffling.h"
#include "kova-data-reader/scan-decoding/bin_limit.h"
#include "kova-data-reader/scan-decoding/peak_output.h"

namespace lumo::io::kova {

namespace {

// The form that defines the result. Room for all peaks of the scan lies between its indices and intensities.
std::size_t decodePlainly(const FrameScans& frame, std::uint32_t scan, BinLimit& limit,
                          const PeakOutput& output) {
    const std::span<const std::byte> shuffled(frame.shuffled, 4 * frame.planeSize);
    std::uint32_t sum = 0;  // wraps in 32 bits as the format's
    std::size_t kept = 0;
    for (std::size_t word = frame.starts[scan]; word < frame.starts[scan + 1]; word += 2) {
        sum += decoding::decodeByteShuffling(shuffled, word);
        const std::uint32_t index = sum - 1;
        if (index >= frame.bins) {
            limit.reportDropped(index);
            continue;
        }
        if (!output.isCountOnly()) {
            output.store(kept, index, frame.scale(decoding::decodeByteShuffling(shuffled, word + 1)));
        }
        ++kept;
    }
    return kept;
}

// Leaves every scan to the plain form.
std::uint32_t decodeNone(const FrameScans&, std::uint32_t scan, std::uint32_t, ScanTargets&) { return scan; }

DecodeScans decodeScansBy(sys::SimdLevel level) {
#ifdef __x86_64__
    if (level == sys::SimdLevel::Avx2) {
        return decodeScansByAvx2;
    }
#endif
    return level == sys::SimdLevel::Scalar ? decodeNone : decodeScansByVector128;
}

}  // namespace

FrameScanKernel::FrameScanKernel(sys::SimdLevel level) : decodeScans(decodeScansBy(level)) {}

std::size_t FrameScanKernel::decode(const FrameScans& frame, std::uint32_t scan, BinLimit& limit,
                                    ScanTargets targets) const {
    const std::size_t bound = (frame.starts[scan + 1] - frame.starts[scan]) / 2;
    const PeakOutput output{targets.indices,
                            targets.indices == nullptr ? nullptr : targets.intensitiesOf(bound)};
    return decodeScans(frame, scan, scan + 1, targets) > scan ? bound
                                                              : decodePlainly(frame, scan, limit, output);
}

void FrameScanKernel::decode(const FrameScans& frame, std::uint32_t begin, std::uint32_t end, BinLimit& limit,
                             ScanTargets& targets) const {
    for (std::uint32_t scan = begin;; ++scan) {
        scan = decodeScans(frame, scan, end, targets);
        if (scan == end) {
            return;
        }
        const std::size_t bound = (frame.starts[scan + 1] - frame.starts[scan]) / 2;
        const PeakOutput output{targets.indices, targets.intensitiesOf(bound)};
        const std::size_t peaks = decodePlainly(frame, scan, limit, output);
        output.moveIntensitiesTo(targets.intensitiesOf(peaks), peaks);
        targets.advance(peaks);
    }
}

}  // namespace lumo::io::kova
