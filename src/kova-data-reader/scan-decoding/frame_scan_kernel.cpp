#include "kova-data-reader/scan-decoding/frame_scan_kernel.h"

#include <span>

#include "diag/assert.h"
#include "kova-data-reader/blob/byte_shuffling.h"
#include "kova-data-reader/scan-decoding/bin_limit.h"

// The plain form below defines what a scan's words mean; the vector forms must give the same bits, and tests
// hold them to it at every level. Vector forms give up at a scan in which a peak is dropped, which hardly
// ever happens, so they need not know what dropping means: the plain form decodes that one scan, and the
// vectors go on with the next.
namespace lumo::io::kova {

namespace {

void storeWord(std::byte* words, std::size_t i, std::uint32_t value) {
    std::memcpy(words + 4 * i, &value, 4);
}

// The rule by which a scan's words become peaks: calls `keep` with the index of each peak and the word that
// holds its intensity, and `drop` with each index beyond the bins.
template <class Keep, class Drop>
void forEachPeak(const FrameScans& frame, std::uint32_t scan, const Keep& keep, const Drop& drop) {
    const std::span<const std::byte> shuffled(frame.shuffled, 4 * frame.planeSize);
    std::uint32_t sum = 0;  // wraps in 32 bits as the format's
    for (std::size_t word = frame.starts[scan]; word < frame.starts[scan + 1]; word += 2) {
        sum += decoding::decodeByteShuffling(shuffled, word);
        const std::uint32_t index = sum - 1;
        if (index < frame.bins) {
            keep(index, word + 1);
        } else {
            drop(index);
        }
    }
}

// The form that defines the result. The place of the intensities is known only after the indices.
void decodePlainly(const FrameScans& frame, std::uint32_t scan, BinLimit& limit, ScanTargets& targets) {
    std::size_t peaks = 0;
    forEachPeak(
        frame, scan,
        [&](std::uint32_t index, std::size_t /*word*/) {
            if (!targets.areCountedOnly()) {
                storeWord(targets.indices, peaks, index);
            }
            ++peaks;
        },
        [&](std::uint32_t index) { limit.reportDropped(index); });
    if (!targets.areCountedOnly()) {
        const std::span<const std::byte> shuffled(frame.shuffled, 4 * frame.planeSize);
        std::byte* const intensities = targets.intensitiesOf(peaks);
        std::size_t peak = 0;
        forEachPeak(
            frame, scan,
            [&](std::uint32_t /*index*/, std::size_t word) {
                storeWord(intensities, peak++, frame.scale(decoding::decodeByteShuffling(shuffled, word)));
            },
            [](std::uint32_t) {});
    }
    targets.advance(peaks);
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

void FrameScanKernel::decode(const FrameScans& frame, std::uint32_t begin, std::uint32_t end, BinLimit& limit,
                             ScanTargets& targets) const {
    LUMO_ASSERT(begin <= end && (begin == end || frame.starts[end] <= frame.planeSize));
    LUMO_ASSERT(frame.bins == limit.binCount());
    for (std::uint32_t scan = begin;; ++scan) {
        scan = decodeScans(frame, scan, end, targets);
        if (scan == end) {
            return;
        }
        decodePlainly(frame, scan, limit, targets);
    }
}

}  // namespace lumo::io::kova
