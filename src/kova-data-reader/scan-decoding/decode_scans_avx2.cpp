#include "kova-data-reader/scan-decoding/frame_scans.h"

#ifdef __x86_64__

#include "kova-data-reader/scan-decoding/avx2_lanes.h"
#include "kova-data-reader/scan-decoding/eight_peaks.h"

namespace lumo::io::kova {

namespace {

constexpr std::size_t kPeaks = 16;  // of a block

// In the order that interleaving two vectors gives: values 0 ... 3 and 8 ... 11, values 4 ... 7 and 12 ... 15.
struct Sixteen {
    __m256i low;
    __m256i high;
};

struct WideBlock {
    Sixteen sums;  // running sums of the index deltas
    Sixteen intensities;
};

// What the blocks of a frame have in common.
struct Constants {
    __m256i lowBytes;
    __m256i bins;
    __m256d factor;
};

LUMO_AVX2 inline void store(std::byte* address, const Sixteen& values) {
    auto* const target = reinterpret_cast<__m256i*>(address);
    _mm256_storeu_si256(target, _mm256_permute2x128_si256(values.low, values.high, 0x20));
    _mm256_storeu_si256(target + 1, _mm256_permute2x128_si256(values.low, values.high, 0x31));
}

LUMO_AVX2 inline Sixteen join(__m256i low16, __m256i high16) {
    return {_mm256_unpacklo_epi16(low16, high16), _mm256_unpackhi_epi16(low16, high16)};
}

LUMO_AVX2 inline Sixteen add(const Sixteen& values, __m256i base) {
    return {_mm256_add_epi32(values.low, base), _mm256_add_epi32(values.high, base)};
}

LUMO_AVX2 inline Sixteen runningSum(const Sixteen& values) {
    const __m256i low = lanes::runningSumOfHalves(values.low);
    const __m256i high =
        _mm256_add_epi32(lanes::runningSumOfHalves(values.high), _mm256_shuffle_epi32(low, 0xFF));
    const __m256i sumsOfEight = _mm256_shuffle_epi32(high, 0xFF);
    // The first eight count for the second eight, which are in the upper halves.
    return add({low, high}, _mm256_permute2x128_si256(sumsOfEight, sumsOfEight, 0x08));
}

LUMO_AVX2 inline __m256i lastInAllLanes(const Sixteen& values) {
    const __m256i last = _mm256_shuffle_epi32(values.high, 0xFF);
    return _mm256_permute2x128_si256(last, last, 0x11);
}

LUMO_AVX2 inline bool anyAtOrAbove(const Sixteen& values, __m256i bound) {
    const __m256i largest = _mm256_max_epu32(values.low, values.high);
    const __m256i atOrAbove = _mm256_cmpeq_epi32(_mm256_max_epu32(largest, bound), largest);
    return _mm256_testz_si256(atOrAbove, atOrAbove) == 0;
}

// The words of eight_peaks.h's loadBlock(), twice as many.
LUMO_AVX2 inline WideBlock loadBlock(const FrameScans& frame, const Constants& constants, std::size_t word) {
    const std::size_t n = frame.planeSize;
    const std::byte* const first = frame.shuffled + word;
    const __m256i p0 = lanes::load256(first);
    const __m256i p1 = lanes::load256(first + n);
    const __m256i p2 = lanes::load256(first + 2 * n);
    const __m256i p3 = lanes::load256(first + 3 * n);
    const __m256i mask = constants.lowBytes;
    return {runningSum(join(_mm256_or_si256(_mm256_and_si256(p0, mask), _mm256_slli_epi16(p1, 8)),
                            _mm256_or_si256(_mm256_and_si256(p2, mask), _mm256_slli_epi16(p3, 8)))),
            join(_mm256_or_si256(_mm256_srli_epi16(p0, 8), _mm256_andnot_si256(mask, p1)),
                 _mm256_or_si256(_mm256_srli_epi16(p2, 8), _mm256_andnot_si256(mask, p3)))};
}

LUMO_AVX2 inline void storeBlock(const FrameScans& frame, const Constants& constants, const WideBlock& block,
                                 std::byte* indices, std::byte* intensities, std::size_t peak) {
    store(indices + 4 * peak, block.sums);
    if (frame.scale.isIdentity()) {
        store(intensities + 4 * peak, block.intensities);
    } else {
        store(intensities + 4 * peak, {lanes::scaled256(block.intensities.low, constants.factor),
                                       lanes::scaled256(block.intensities.high, constants.factor)});
    }
}

LUMO_AVX2 inline std::uint32_t laneOf(const Sixteen& values, std::size_t lane) {
    std::uint32_t lanes[kPeaks] = {};
    store(reinterpret_cast<std::byte*>(lanes), values);
    return lanes[lane];
}

// Sixteen peaks or more, in the manner of lanes::decodePeaksByEight().
LUMO_AVX2 inline bool decodePeaksBySixteen(const FrameScans& frame, const Constants& constants,
                                           std::size_t start, std::size_t peaks, const ScanTargets& targets) {
    std::byte* const indices = targets.indices;
    std::byte* const intensities = targets.intensitiesOf(peaks);
    __m256i base = _mm256_set1_epi32(-1);
    std::size_t peak = 0;
    for (; peak + kPeaks <= peaks; peak += kPeaks) {
        WideBlock block = loadBlock(frame, constants, start + 2 * peak);
        const __m256i total = lastInAllLanes(block.sums);
        block.sums = add(block.sums, base);
        if (anyAtOrAbove(block.sums, constants.bins)) {
            return false;
        }
        if (indices != nullptr) {
            storeBlock(frame, constants, block, indices, intensities, peak);
        }
        base = _mm256_add_epi32(base, total);
    }
    if (peak == peaks) {
        return true;
    }
    const std::size_t overlap = peaks - kPeaks;
    WideBlock block = loadBlock(frame, constants, start + 2 * overlap);
    const std::uint32_t known = laneOf(block.sums, peak - overlap - 1);
    block.sums = add(block.sums, _mm256_sub_epi32(base, _mm256_set1_epi32(static_cast<int>(known))));
    if (anyAtOrAbove(block.sums, constants.bins)) {
        return false;
    }
    if (indices != nullptr) {
        storeBlock(frame, constants, block, indices, intensities, overlap);
    }
    return true;
}

}  // namespace

LUMO_AVX2 std::uint32_t decodeScansByAvx2(const FrameScans& frame, std::uint32_t scan, std::uint32_t end,
                                          ScanTargets& targets) {
    const Constants constants{_mm256_set1_epi16(0x00FF), _mm256_set1_epi32(static_cast<int>(frame.bins)),
                              _mm256_set1_pd(frame.scale.multiplier())};
    ScanTargets next = targets;
    for (; scan < end; ++scan) {
        const std::size_t start = frame.starts[scan];
        const std::size_t peaks = (frame.starts[scan + 1] - start) / 2;
        const bool good = peaks >= kPeaks ? decodePeaksBySixteen(frame, constants, start, peaks, next)
                                          : peaks == 0 || lanes::decodeScanByEight(frame, start, peaks, next);
        if (!good) {
            break;
        }
        next.advance(peaks);
    }
    targets = next;
    return scan;
}

}  // namespace lumo::io::kova

#endif
