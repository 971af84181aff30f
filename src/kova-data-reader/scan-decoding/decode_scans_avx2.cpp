#include "kova-data-reader/scan-decoding/frame_scans.h"

#ifdef __x86_64__

#include <algorithm>

#include "kova-data-reader/scan-decoding/avx2_lanes.h"
#include "kova-data-reader/scan-decoding/eight_peaks.h"

// The same decoding as eight_peaks.h, sixteen peaks at a time. Scans with fewer peaks go through the form of
// eight, which is compiled in here a second time, for this instruction set. Vectors of this width are two
// halves between which few instructions move values; hence the order in `Sixteen`, which is put right when
// values are stored.
namespace lumo::io::kova {

namespace {

constexpr std::size_t kPeaks = 16;  // of a block

// Sixteen values in the order that interleaving two vectors gives: values 0 ... 3 and 8 ... 11, then 4 ... 7
// and 12 ... 15.
struct Sixteen {
    __m256i low;
    __m256i high;
};

// The four planes of 32 words: those of Planes, twice as many.
struct WidePlanes {
    __m256i p0;
    __m256i p1;
    __m256i p2;
    __m256i p3;
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

// In three steps: inside of four values, from the first four of a half to the second, and from one half to
// the other.
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

// There is no unsigned comparison; the larger of both being the value itself says the same.
LUMO_AVX2 inline bool anyAtOrAbove(const Sixteen& values, __m256i bound) {
    const __m256i largest = _mm256_max_epu32(values.low, values.high);
    const __m256i atOrAbove = _mm256_cmpeq_epi32(_mm256_max_epu32(largest, bound), largest);
    return _mm256_testz_si256(atOrAbove, atOrAbove) == 0;
}

LUMO_AVX2 inline WidePlanes loadPlanes(const FrameScans& frame, std::size_t word) {
    const std::size_t n = frame.planeSize;
    const std::byte* const first = frame.shuffled + word;
    return {lanes::load256(first), lanes::load256(first + n), lanes::load256(first + 2 * n),
            lanes::load256(first + 3 * n)};
}

// Even words are differences of indices, odd words intensities; the planes hold them by turns.
LUMO_AVX2 inline Sixteen sumsOf(const WidePlanes& planes) {
    const __m256i mask = _mm256_set1_epi16(0x00FF);
    return runningSum(
        join(_mm256_or_si256(_mm256_and_si256(planes.p0, mask), _mm256_slli_epi16(planes.p1, 8)),
             _mm256_or_si256(_mm256_and_si256(planes.p2, mask), _mm256_slli_epi16(planes.p3, 8))));
}

LUMO_AVX2 inline Sixteen storedIntensitiesOf(const WidePlanes& planes) {
    const __m256i mask = _mm256_set1_epi16(0x00FF);
    return join(_mm256_or_si256(_mm256_srli_epi16(planes.p0, 8), _mm256_andnot_si256(mask, planes.p1)),
                _mm256_or_si256(_mm256_srli_epi16(planes.p2, 8), _mm256_andnot_si256(mask, planes.p3)));
}

LUMO_AVX2 inline std::uint32_t laneOf(const Sixteen& values, std::size_t lane) {
    std::uint32_t words[kPeaks] = {};
    store(reinterpret_cast<std::byte*>(words), values);
    return words[lane];
}

// Sixteen peaks or more, in the manner of lanes::decodeIndicesByEight() and
// lanes::decodeIntensitiesByEight(), with the same promises.
LUMO_AVX2 inline bool decodeIndicesBySixteen(const FrameScans& frame, std::size_t start, std::size_t peaks,
                                             std::byte* target) {
    const __m256i bins = _mm256_set1_epi32(static_cast<int>(frame.bins));
    __m256i base = _mm256_set1_epi32(-1);
    std::size_t peak = 0;
    for (; peak + kPeaks <= peaks; peak += kPeaks) {
        const Sixteen sums = sumsOf(loadPlanes(frame, start + 2 * peak));
        const Sixteen indices = add(sums, base);
        if (anyAtOrAbove(indices, bins)) {
            return false;
        }
        if (target != nullptr) {
            store(target + 4 * peak, indices);
        }
        base = _mm256_add_epi32(base, lastInAllLanes(sums));
    }
    if (peak == peaks) {
        return true;
    }
    const std::size_t overlap = peaks - kPeaks;
    const Sixteen sums = sumsOf(loadPlanes(frame, start + 2 * overlap));
    const std::uint32_t known = laneOf(sums, peak - overlap - 1);
    const Sixteen indices = add(sums, _mm256_sub_epi32(base, _mm256_set1_epi32(static_cast<int>(known))));
    if (anyAtOrAbove(indices, bins)) {
        return false;
    }
    if (target != nullptr) {
        store(target + 4 * overlap, indices);
    }
    return true;
}

// The last block overlaps the one before it rather than being shorter, which writes some values twice.
template <bool kIsScaled>
LUMO_AVX2 inline void decodeIntensitiesBySixteen(const FrameScans& frame, __m256d factor, std::size_t start,
                                                 std::size_t peaks, std::byte* target) {
    for (std::size_t peak = 0;;) {
        Sixteen values = storedIntensitiesOf(loadPlanes(frame, start + 2 * peak));
        if constexpr (kIsScaled) {
            values = {lanes::scaled256(values.low, factor), lanes::scaled256(values.high, factor)};
        }
        store(target + 4 * peak, values);
        peak += kPeaks;
        if (peak == peaks) {
            return;
        }
        peak = std::min(peak, peaks - kPeaks);
    }
}

template <bool kIsScaled>
LUMO_AVX2 inline std::uint32_t decodeScans(const FrameScans& frame, std::uint32_t scan, std::uint32_t end,
                                           ScanTargets& targets) {
    const __m256d factor = _mm256_set1_pd(frame.scale.multiplier());
    ScanTargets next = targets;
    for (; scan < end; ++scan) {
        const std::size_t start = frame.starts[scan];
        const std::size_t peaks = (frame.starts[scan + 1] - start) / 2;
        if (peaks >= kPeaks) {
            if (!decodeIndicesBySixteen(frame, start, peaks, next.indices)) {
                break;
            }
            if (!next.areCountedOnly()) {
                decodeIntensitiesBySixteen<kIsScaled>(frame, factor, start, peaks, next.intensitiesOf(peaks));
            }
        } else if (peaks != 0 && !lanes::decodeScanByEight(frame, start, peaks, next)) {
            break;
        }
        next.advance(peaks);
    }
    targets = next;
    return scan;
}

}  // namespace

LUMO_AVX2 std::uint32_t decodeScansByAvx2(const FrameScans& frame, std::uint32_t scan, std::uint32_t end,
                                          ScanTargets& targets) {
    return frame.scale.isIdentity() ? decodeScans<false>(frame, scan, end, targets)
                                    : decodeScans<true>(frame, scan, end, targets);
}

}  // namespace lumo::io::kova

#endif
