#include "kova-data-reader/scan-decoding/frame_scan_kernel.h"

#include <bit>

#include "kova-data-reader/blob/byte_shuffling.h"
#include "kova-data-reader/scan-decoding/bin_limit.h"
#include "kova-data-reader/scan-decoding/lanes.h"

namespace lumo::io::kova {

namespace {

using lanes::U16x8;
using lanes::U32x4;

constexpr std::size_t kBlockPeaks = 8;

// Eight peaks as they come out of 16 words: index deltas and intensities, in order.
struct PeakBlock {
    U32x4 deltas[2];
    U32x4 intensities[2];
};

// Words alternate between delta and intensity, and so do the bytes of each plane: taken as 16-bit lanes, low
// bytes belong to deltas and high bytes to intensities.
PeakBlock loadBlock(std::span<const std::byte> shuffled, std::size_t word) {
    const std::size_t n = shuffled.size() / 4;
    const std::byte* const first = shuffled.data() + word;
    const auto p0 = lanes::load<U16x8>(first);
    const auto p1 = lanes::load<U16x8>(first + n);
    const auto p2 = lanes::load<U16x8>(first + 2 * n);
    const auto p3 = lanes::load<U16x8>(first + 3 * n);
    const U16x8 deltaLow = (p0 & 0x00FF) | (p1 << 8);
    const U16x8 deltaHigh = (p2 & 0x00FF) | (p3 << 8);
    const U16x8 intensityLow = (p0 >> 8) | (p1 & 0xFF00);
    const U16x8 intensityHigh = (p2 >> 8) | (p3 & 0xFF00);
    const auto join = [](const U16x8& low, const U16x8& high, U32x4* out) {
        out[0] = lanes::reinterpret<U32x4>(__builtin_shufflevector(low, high, 0, 8, 1, 9, 2, 10, 3, 11));
        out[1] = lanes::reinterpret<U32x4>(__builtin_shufflevector(low, high, 4, 12, 5, 13, 6, 14, 7, 15));
    };
    PeakBlock block;
    join(deltaLow, deltaHigh, block.deltas);
    join(intensityLow, intensityHigh, block.intensities);
    return block;
}

// The decoder of one scan: a running sum of index deltas that wraps in 32 bits as the format's, and the peaks
// kept so far.
class ScanKernel {
public:
    ScanKernel(std::span<const std::byte> words, const IntensityScale& intensityScale, BinLimit& binLimit,
               const PeakOutput& peakOutput)
        : shuffled(words), scale(intensityScale), limit(binLimit), output(peakOutput) {}

    // Decodes the words [word, end). The forms agree bit for bit: eight peaks, fewer than eight with 16 words
    // readable, any.
    void decodeBlock(std::size_t word);
    void decodePartialBlock(std::size_t word, std::size_t end);
    void decodePlainly(std::size_t word, std::size_t end);

    std::size_t peaksKept() const { return kept; }

private:
    void keep(std::uint32_t index, std::uint32_t intensity) {
        if (!output.isCountOnly()) {
            output.store(kept, index, scale(intensity));
        }
        ++kept;
    }

    U32x4 scaled(const U32x4& intensities) const {
        return scale.isIdentity() ? intensities : lanes::scaled(intensities, scale.multiplier());
    }

    std::span<const std::byte> shuffled;
    IntensityScale scale;
    BinLimit& limit;
    PeakOutput output;
    std::uint32_t sum = 0;
    std::size_t kept = 0;
};

void ScanKernel::decodePlainly(std::size_t word, std::size_t end) {
    for (; word < end; word += 2) {
        sum += decoding::decodeByteShuffling(shuffled, word);
        const std::uint32_t index = sum - 1;
        if (index < limit.binCount()) {
            keep(index, decoding::decodeByteShuffling(shuffled, word + 1));
        } else {
            limit.reportDropped(index);
        }
    }
}

inline void ScanKernel::decodeBlock(std::size_t word) {
    const PeakBlock block = loadBlock(shuffled, word);
    const U32x4 first = lanes::runningSum(block.deltas[0]) + (sum - 1);
    const U32x4 second = lanes::runningSum(block.deltas[1]) + first[3];
    const U32x4 bins = lanes::broadcast(limit.binCount());
    if (lanes::anySet(lanes::reinterpret<U32x4>(first >= bins) | lanes::reinterpret<U32x4>(second >= bins))) {
        decodePlainly(word, word + 2 * kBlockPeaks);
        return;
    }
    sum = second[3] + 1;
    if (!output.isCountOnly()) {
        lanes::store(output.indices + 4 * kept, first);
        lanes::store(output.indices + 4 * kept + 16, second);
        lanes::store(output.intensities + 4 * kept, scaled(block.intensities[0]));
        lanes::store(output.intensities + 4 * kept + 16, scaled(block.intensities[1]));
    }
    kept += kBlockPeaks;
}

// Copies fewer than eight words without a call.
inline void storeFew(std::byte* target, const U32x4* words, std::size_t count) {
    const auto* source = reinterpret_cast<const std::byte*>(words);
    for (const std::size_t size : {16U, 8U, 4U}) {
        if ((4 * count & size) != 0) {
            std::memcpy(target, source, size);
            target += size;
            source += size;
        }
    }
}

inline void ScanKernel::decodePartialBlock(std::size_t word, std::size_t end) {
    const auto peaks = static_cast<std::uint32_t>((end - word) / 2);
    const PeakBlock block = loadBlock(shuffled, word);
    const U32x4 first = lanes::runningSum(block.deltas[0]) + (sum - 1);
    const U32x4 second = lanes::runningSum(block.deltas[1]) + first[3];
    const U32x4 indices[2] = {first, second};
    const U32x4 bins = lanes::broadcast(limit.binCount());
    const U32x4 beyond[2] = {
        lanes::reinterpret<U32x4>(first >= bins) & lanes::reinterpret<U32x4>(U32x4{0, 1, 2, 3} < peaks),
        lanes::reinterpret<U32x4>(second >= bins) & lanes::reinterpret<U32x4>(U32x4{4, 5, 6, 7} < peaks)};
    if (lanes::anySet(beyond[0] | beyond[1])) {
        decodePlainly(word, end);
        return;
    }
    if (!output.isCountOnly()) {
        const U32x4 intensities[2] = {scaled(block.intensities[0]), scaled(block.intensities[1])};
        storeFew(output.indices + 4 * kept, indices, peaks);
        storeFew(output.intensities + 4 * kept, intensities, peaks);
    }
    kept += peaks;
}

}  // namespace

std::size_t decodeFrameScan(std::span<const std::byte> shuffled, std::uint32_t start, std::uint32_t end,
                            const IntensityScale& scale, BinLimit& limit, const PeakOutput& output) {
    ScanKernel kernel(shuffled, scale, limit, output);
    std::size_t word = start;
    if constexpr (std::endian::native == std::endian::little) {
        for (; end - word >= 2 * kBlockPeaks; word += 2 * kBlockPeaks) {
            kernel.decodeBlock(word);
        }
        if (word < end && word + 2 * kBlockPeaks <= shuffled.size() / 4) {
            kernel.decodePartialBlock(word, end);
            return kernel.peaksKept();
        }
    }
    kernel.decodePlainly(word, end);
    return kernel.peaksKept();
}

}  // namespace lumo::io::kova
