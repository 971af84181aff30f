#pragma once

#include <cstddef>
#include <cstdint>

#include "kova-data-reader/scan-decoding/frame_scans.h"
#include "kova-data-reader/scan-decoding/lanes.h"

// Decoding in blocks of eight peaks, for files that are compiled for several instruction sets: everything here
// belongs to the file that includes it.
namespace lumo::io::kova::lanes {
namespace {

constexpr std::size_t kPeaksOfBlock = 8;

// Eight peaks as they come out of 16 words: running sums of their index deltas, and intensities.
struct PeakBlock {
    U32x4 sums[2] = {};
    U32x4 intensities[2] = {};
};

// Words alternate between delta and intensity, and so do the bytes of each plane: taken as 16-bit lanes, low
// bytes belong to deltas and high bytes to intensities.
inline PeakBlock loadBlock(const FrameScans& frame, std::size_t word) {
    const std::size_t n = frame.planeSize;
    const std::byte* const first = frame.shuffled + word;
    const auto p0 = load<U16x8>(first);
    const auto p1 = load<U16x8>(first + n);
    const auto p2 = load<U16x8>(first + 2 * n);
    const auto p3 = load<U16x8>(first + 3 * n);
    const U16x8 deltaLow = (p0 & 0x00FF) | (p1 << 8);
    const U16x8 deltaHigh = (p2 & 0x00FF) | (p3 << 8);
    const U16x8 intensityLow = (p0 >> 8) | (p1 & 0xFF00);
    const U16x8 intensityHigh = (p2 >> 8) | (p3 & 0xFF00);
    const auto join = [](const U16x8& low, const U16x8& high, U32x4* out) {
        out[0] = reinterpret<U32x4>(__builtin_shufflevector(low, high, 0, 8, 1, 9, 2, 10, 3, 11));
        out[1] = reinterpret<U32x4>(__builtin_shufflevector(low, high, 4, 12, 5, 13, 6, 14, 7, 15));
    };
    PeakBlock block;
    join(deltaLow, deltaHigh, block.sums);
    join(intensityLow, intensityHigh, block.intensities);
    block.sums[0] = runningSum(block.sums[0]);
    block.sums[1] = runningSum(block.sums[1]) + broadcast(block.sums[0][3]);
    return block;
}

inline void addBase(PeakBlock& block, const U32x4& base) {
    block.sums[0] += base;
    block.sums[1] += base;
}

inline bool anyAtOrAbove(const PeakBlock& block, const U32x4& bins) {
    return anySet(reinterpret<U32x4>(block.sums[0] >= bins) | reinterpret<U32x4>(block.sums[1] >= bins));
}

inline U32x4 scaledBy(const IntensityScale& scale, const U32x4& intensities) {
    return scale.isIdentity() ? intensities : scaled(intensities, scale.multiplier());
}

inline void storeBlock(const FrameScans& frame, const PeakBlock& block, std::byte* indices,
                       std::byte* intensities, std::size_t peak) {
    store(indices + 4 * peak, block.sums[0]);
    store(indices + 4 * peak + 16, block.sums[1]);
    store(intensities + 4 * peak, scaledBy(frame.scale, block.intensities[0]));
    store(intensities + 4 * peak + 16, scaledBy(frame.scale, block.intensities[1]));
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

// Fewer than eight peaks; 16 words must be readable. False when one is to be dropped.
inline bool decodeFewPeaks(const FrameScans& frame, std::size_t start, std::size_t peaks,
                           const ScanTargets& targets) {
    PeakBlock block = loadBlock(frame, start);
    addBase(block, broadcast(std::uint32_t{0} - 1));
    const U32x4 bins = broadcast(frame.bins);
    const U32x4 count = broadcast(static_cast<std::uint32_t>(peaks));
    if (anySet((reinterpret<U32x4>(block.sums[0] >= bins) & reinterpret<U32x4>(U32x4{0, 1, 2, 3} < count)) |
               (reinterpret<U32x4>(block.sums[1] >= bins) & reinterpret<U32x4>(U32x4{4, 5, 6, 7} < count)))) {
        return false;
    }
    if (targets.indices != nullptr) {
        const U32x4 intensities[2] = {scaledBy(frame.scale, block.intensities[0]),
                                      scaledBy(frame.scale, block.intensities[1])};
        storeFew(targets.indices, block.sums, peaks);
        storeFew(targets.intensitiesOf(peaks), intensities, peaks);
    }
    return true;
}

// The running sum before a block is known at its lane `known`.
inline U32x4 baseFromLane(const PeakBlock& block, std::size_t known, std::uint32_t index) {
    std::uint32_t sums[kPeaksOfBlock] = {};
    std::memcpy(sums, block.sums, sizeof sums);
    return broadcast(index - sums[known]);
}

// Eight peaks or more. The last block overlaps the one before, so that no store depends on how many peaks are
// left. False when one is to be dropped.
inline bool decodePeaksByEight(const FrameScans& frame, std::size_t start, std::size_t peaks,
                               const ScanTargets& targets) {
    const U32x4 bins = broadcast(frame.bins);
    std::byte* const indices = targets.indices;
    std::byte* const intensities = targets.intensitiesOf(peaks);
    U32x4 base = broadcast(std::uint32_t{0} - 1);
    std::size_t peak = 0;
    for (; peak + kPeaksOfBlock <= peaks; peak += kPeaksOfBlock) {
        PeakBlock block = loadBlock(frame, start + 2 * peak);
        const U32x4 total = broadcast(block.sums[1][3]);
        addBase(block, base);
        if (anyAtOrAbove(block, bins)) {
            return false;
        }
        if (indices != nullptr) {
            storeBlock(frame, block, indices, intensities, peak);
        }
        base += total;
    }
    if (peak == peaks) {
        return true;
    }
    const std::size_t overlap = peaks - kPeaksOfBlock;
    PeakBlock block = loadBlock(frame, start + 2 * overlap);
    addBase(block, baseFromLane(block, peak - overlap - 1, base[0]));
    if (anyAtOrAbove(block, bins)) {
        return false;
    }
    if (indices != nullptr) {
        storeBlock(frame, block, indices, intensities, overlap);
    }
    return true;
}

// False when the scan cannot be decoded by vectors.
inline bool decodeScanByEight(const FrameScans& frame, std::size_t start, std::size_t peaks,
                              const ScanTargets& targets) {
    if (peaks >= kPeaksOfBlock) {
        return decodePeaksByEight(frame, start, peaks, targets);
    }
    return start + 2 * kPeaksOfBlock <= frame.planeSize && decodeFewPeaks(frame, start, peaks, targets);
}

}  // namespace
}  // namespace lumo::io::kova::lanes
