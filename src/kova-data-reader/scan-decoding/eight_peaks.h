#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "diag/assert.h"
#include "kova-data-reader/scan-decoding/frame_scans.h"
#include "kova-data-reader/scan-decoding/lanes.h"

// Decoding in blocks of eight peaks, for files that are compiled for several instruction sets: everything
// here belongs to the file that includes it, hence the unnamed namespace.
//
// The bytes of a frame's words lie in four planes, so a block is four loads, and unshuffling is a matter of
// joining lanes. All indices of a scan are decoded and compared with the bin limit before the first intensity
// is stored: only then it is certain how many peaks the scan keeps, and so where its intensities go and where
// the room for it ends. The planes are therefore loaded twice, which costs next to nothing, as a scan fits
// the processor's cache.
//
// What must stay true: only words of the scan's frame are read and only room of the scan's own peaks is
// written, although blocks are longer than what is left of a scan. The last block of a longer scan overlaps
// the one before it; a scan of fewer than eight peaks is stored piece by piece.
namespace lumo::io::kova::lanes {
namespace {

constexpr std::size_t kPeaksOfBlock = 8;

// Eight values of one kind.
struct Eight {
    U32x4 low = {};
    U32x4 high = {};
};

inline void storeEight(std::byte* target, const Eight& values) {
    store(target, values.low);
    store(target + 16, values.high);
}

// The four planes of 16 words. Words alternate between index delta and intensity, and so do the bytes of each
// plane: taken as 16-bit lanes, low bytes belong to deltas and high bytes to intensities.
struct Planes {
    Planes(const FrameScans& frame, std::size_t word)
        : p0(load<U16x8>(frame.shuffled + word)),
          p1(load<U16x8>(frame.shuffled + word + frame.planeSize)),
          p2(load<U16x8>(frame.shuffled + word + 2 * frame.planeSize)),
          p3(load<U16x8>(frame.shuffled + word + 3 * frame.planeSize)) {}

    U16x8 p0;
    U16x8 p1;
    U16x8 p2;
    U16x8 p3;
};

inline Eight join(const U16x8& low, const U16x8& high) {
    return {reinterpret<U32x4>(__builtin_shufflevector(low, high, 0, 8, 1, 9, 2, 10, 3, 11)),
            reinterpret<U32x4>(__builtin_shufflevector(low, high, 4, 12, 5, 13, 6, 14, 7, 15))};
}

// Running sums of the index deltas within the block: the indices, less what came before the block.
inline Eight sumsOf(const Planes& planes) {
    const Eight deltas =
        join((planes.p0 & 0x00FF) | (planes.p1 << 8), (planes.p2 & 0x00FF) | (planes.p3 << 8));
    const U32x4 low = runningSum(deltas.low);
    return {low, runningSum(deltas.high) + broadcast(low[3])};
}

inline Eight intensitiesOf(const Planes& planes, const IntensityScale& scale) {
    const Eight stored =
        join((planes.p0 >> 8) | (planes.p1 & 0xFF00), (planes.p2 >> 8) | (planes.p3 & 0xFF00));
    return scale.isIdentity()
               ? stored
               : Eight{scaled(stored.low, scale.multiplier()), scaled(stored.high, scale.multiplier())};
}

inline Eight add(const Eight& values, const U32x4& base) { return {values.low + base, values.high + base}; }

inline bool anyAtOrAbove(const Eight& values, const U32x4& bound) {
    return anySet(reinterpret<U32x4>(values.low >= bound) | reinterpret<U32x4>(values.high >= bound));
}

// Stores the first `count` of eight words, in pieces of powers of two: a call of memcpy with a variable
// length would take longer than decoding them.
inline void storeFew(std::byte* target, const Eight& words, std::size_t count) {
    const auto* source = reinterpret_cast<const std::byte*>(&words);
    for (const std::size_t size : {16U, 8U, 4U}) {
        if ((4 * count & size) != 0) {
            std::memcpy(target, source, size);
            target += size;
            source += size;
        }
    }
}

// Fewer than eight peaks; the 16 words from `start` on must be in the frame. False when a peak is to be
// dropped; nothing is stored then.
inline bool decodeFewPeaks(const FrameScans& frame, std::size_t start, std::size_t peaks,
                           const ScanTargets& targets) {
    LUMO_ASSERT(peaks < kPeaksOfBlock && start + 2 * kPeaksOfBlock <= frame.planeSize);
    const Planes planes(frame, start);
    const Eight indices = add(sumsOf(planes), broadcast(std::uint32_t{0} - 1));
    const U32x4 bins = broadcast(frame.bins);
    const U32x4 count = broadcast(static_cast<std::uint32_t>(peaks));
    if (anySet((reinterpret<U32x4>(indices.low >= bins) & reinterpret<U32x4>(U32x4{0, 1, 2, 3} < count)) |
               (reinterpret<U32x4>(indices.high >= bins) & reinterpret<U32x4>(U32x4{4, 5, 6, 7} < count)))) {
        return false;
    }
    if (!targets.areCountedOnly()) {
        storeFew(targets.indices, indices, peaks);
        storeFew(targets.intensitiesOf(peaks), intensitiesOf(planes, frame.scale), peaks);
    }
    return true;
}

inline std::uint32_t laneOf(const Eight& values, std::size_t lane) {
    std::uint32_t words[kPeaksOfBlock] = {};
    std::memcpy(words, &values, sizeof words);
    return words[lane];
}

// The indices of eight peaks or more, stored unless `target` is null. The last block overlaps the one before
// it, so no store depends on how many peaks are left. False when a peak is to be dropped; what has been
// stored by then is inside of the room of the indices.
inline bool decodeIndicesByEight(const FrameScans& frame, std::size_t start, std::size_t peaks,
                                 std::byte* target) {
    const U32x4 bins = broadcast(frame.bins);
    U32x4 base = broadcast(std::uint32_t{0} - 1);
    std::size_t peak = 0;
    const auto storeBlock = [&](std::size_t place, const Eight& indices) {
        if (anyAtOrAbove(indices, bins)) {
            return false;
        }
        if (target != nullptr) {
            storeEight(target + 4 * place, indices);
        }
        return true;
    };
    for (; peak + kPeaksOfBlock <= peaks; peak += kPeaksOfBlock) {
        const Eight sums = sumsOf(Planes(frame, start + 2 * peak));
        if (!storeBlock(peak, add(sums, base))) {
            return false;
        }
        base += broadcast(sums.high[3]);
    }
    if (peak == peaks) {
        return true;
    }
    const std::size_t overlap = peaks - kPeaksOfBlock;
    const Eight sums = sumsOf(Planes(frame, start + 2 * overlap));
    return storeBlock(overlap, add(sums, broadcast(base[0] - laneOf(sums, peak - overlap - 1))));
}

// The intensities of eight peaks or more, all of which are kept.
inline void decodeIntensitiesByEight(const FrameScans& frame, std::size_t start, std::size_t peaks,
                                     std::byte* target) {
    const auto storeBlock = [&](std::size_t peak) {
        storeEight(target + 4 * peak, intensitiesOf(Planes(frame, start + 2 * peak), frame.scale));
    };
    std::size_t peak = 0;
    for (; peak + kPeaksOfBlock <= peaks; peak += kPeaksOfBlock) {
        storeBlock(peak);
    }
    if (peak < peaks) {
        storeBlock(peaks - kPeaksOfBlock);
    }
}

// False when the scan must be left to the plain form: a peak is dropped, or it lies so near the frame's end
// that a block would read beyond.
inline bool decodeScanByEight(const FrameScans& frame, std::size_t start, std::size_t peaks,
                              const ScanTargets& targets) {
    if (peaks >= kPeaksOfBlock) {
        if (!decodeIndicesByEight(frame, start, peaks, targets.indices)) {
            return false;
        }
        if (!targets.areCountedOnly()) {
            decodeIntensitiesByEight(frame, start, peaks, targets.intensitiesOf(peaks));
        }
        return true;
    }
    return start + 2 * kPeaksOfBlock <= frame.planeSize && decodeFewPeaks(frame, start, peaks, targets);
}

}  // namespace
}  // namespace lumo::io::kova::lanes
