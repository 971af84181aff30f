#include "kova-data-reader/scan-decoding/run_length_runs.h"

#ifdef __x86_64__

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

#include "diag/assert.h"
#include "kova-data-reader/scan-decoding/avx2_lanes.h"

// Eight values of a run-length coded scan at a time. A value is a peak or a skip; steps of the index are 1 or
// the length of the skip, their running sum gives all eight indices, and a table of permutations moves the
// peaks among the eight to the front. Eight values are always stored, however many are peaks, and the next
// block overwrites the rest: no branch depends on the data.
//
// Towards the end of a scan there is no room for eight more peaks. There a block is stored so that its last peak
// comes last, together with the peaks before it that are overwritten, and the last block of values begins
// before the end of the one before it.
//
// What must stay true: no store goes beyond the peaks of the scan, and all sums fit 32 bits. Where that is not
// certain the plain form goes on from `at`.
namespace lumo::io::kova {

namespace {

constexpr std::size_t kValues = 8;  // of a block

// Permutations that move chosen lanes to the front. The index is the set of lanes, one bit a lane; the entry
// holds the numbers of those lanes in ascending order, one byte each, and then anything.
constexpr std::array<std::uint64_t, 256> kLanesOfSet = [] {
    std::array<std::uint64_t, 256> table{};
    for (std::size_t set = 0; set < table.size(); ++set) {
        unsigned position = 0;
        for (std::uint64_t lane = 0; lane < kValues; ++lane) {
            if ((set >> lane & 1U) != 0) {
                table[set] |= lane << 8 * position++;
            }
        }
    }
    return table;
}();

LUMO_AVX2 inline __m256i runningSum(__m256i values) {
    const __m256i halves = lanes::runningSumOfHalves(values);
    const __m256i sumsOfFour = _mm256_shuffle_epi32(halves, 0xFF);
    return _mm256_add_epi32(halves, _mm256_permute2x128_si256(sumsOfFour, sumsOfFour, 0x08));
}

LUMO_AVX2 inline bool anyAtOrAbove(__m256i values, __m256i bound) {
    const __m256i atOrAbove = _mm256_cmpeq_epi32(_mm256_max_epu32(values, bound), values);
    return _mm256_testz_si256(atOrAbove, atOrAbove) == 0;
}

LUMO_AVX2 inline void store(std::byte* target, __m256i values) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(target), values);
}

// Lanes from `first` on.
LUMO_AVX2 inline __m256i lanesFrom(std::size_t first) {
    return _mm256_cmpgt_epi32(_mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7),
                              _mm256_set1_epi32(static_cast<int>(first) - 1));
}

// The order in which lanes are stored, from a word of kLanesOfSet.
LUMO_AVX2 inline __m256i asOrder(std::uint64_t numbers) {
    return _mm256_cvtepu8_epi32(_mm_cvtsi64_si128(static_cast<std::int64_t>(numbers)));
}

// Eight values, and the indices of their bins.
struct Block {
    __m256i values;
    __m256i indices;
    __m256i next;  // index after the block, in all lanes
    bool isSimple;

    LUMO_AVX2 __m256i intensities(const IntensityScale& scale, __m256i order) const {
        const __m256i ordered = _mm256_permutevar8x32_epi32(values, order);
        return scale.isIdentity() ? ordered : lanes::scaled256(ordered, _mm256_set1_pd(scale.multiplier()));
    }
    LUMO_AVX2 std::uint8_t peaks() const {
        return static_cast<std::uint8_t>(~_mm256_movemask_ps(_mm256_castsi256_ps(values)));
    }
};

// The block that begins with a value, whose lanes outside of `lanes` take no bins. `base` is the index before.
LUMO_AVX2 inline Block blockAt(const RunLengthScan& scan, std::size_t value, __m256i lanes, __m256i base) {
    // Sums of eight such steps, begun below the bound, stay within 32 bits.
    constexpr std::uint32_t kMaxBins = std::uint32_t{1} << 31;
    const __m256i tooLarge = _mm256_set1_epi32(static_cast<int>(0xF8000000U));
    const __m256i bins = _mm256_set1_epi32(static_cast<int>(std::min(scan.bins, kMaxBins)));
    const __m256i values = lanes::load256(scan.values.data() + 4 * value);
    const __m256i isSkip = _mm256_srai_epi32(values, 31);
    const __m256i lengths = _mm256_sub_epi32(_mm256_setzero_si256(), values);
    const __m256i steps = _mm256_and_si256(_mm256_blendv_epi8(_mm256_set1_epi32(1), lengths, isSkip), lanes);
    const __m256i sums = _mm256_add_epi32(base, runningSum(steps));
    const __m256i indices = _mm256_sub_epi32(sums, steps);
    return {values, indices, _mm256_permutevar8x32_epi32(sums, _mm256_set1_epi32(7)),
            _mm256_testz_si256(steps, tooLarge) != 0 && !anyAtOrAbove(indices, bins)};
}

// The rest of a scan of at least eight values. Returns the index after it.
LUMO_AVX2 inline __m256i decodeRest(const RunLengthScan& scan, const PeakOutput& output,
                                    RunLengthPosition& at, __m256i base) {
    const std::size_t count = scan.values.size() / 4;
    while (at.value < count) {
        const std::size_t first = std::min(at.value, count - kValues);
        const std::size_t done = at.value - first;
        const Block block = blockAt(scan, first, lanesFrom(done), base);
        const unsigned set = block.peaks() & 0xFFU << done;
        const auto peaks = static_cast<std::size_t>(std::popcount(set));
        if (!block.isSimple || at.kept + peaks < kValues) {
            break;
        }
        if (peaks != 0) {
            const std::size_t old = kValues - peaks;
            const __m256i isNew = lanesFrom(old);
            const __m256i order = asOrder(kLanesOfSet[set] << 8 * old);
            std::byte* const indices = output.indices + 4 * (at.kept - old);
            std::byte* const intensities = output.intensities + 4 * (at.kept - old);
            store(indices, _mm256_blendv_epi8(lanes::load256(indices),
                                              _mm256_permutevar8x32_epi32(block.indices, order), isNew));
            store(intensities, _mm256_blendv_epi8(lanes::load256(intensities),
                                                  block.intensities(scan.scale, order), isNew));
        }
        at.kept += peaks;
        at.value = first + kValues;
        base = block.next;
    }
    return base;
}

}  // namespace

// Stops before a block with a step that is too large or an index at or beyond the bins, and before fewer than
// eight values or peaks.
LUMO_AVX2 void decodeRunsByAvx2(const RunLengthScan& scan, const PeakOutput& output, RunLengthPosition& at) {
    LUMO_ASSERT(at.value == 0 && at.index == 0 && at.kept == 0);
    const std::size_t count = scan.values.size() / 4;
    if (count < kValues) {
        return;
    }
    const __m256i all = _mm256_set1_epi32(-1);
    __m256i base = _mm256_setzero_si256();
    for (; at.value + kValues <= count && at.kept + kValues <= scan.peaks; at.value += kValues) {
        const Block block = blockAt(scan, at.value, all, base);
        if (!block.isSimple) {
            break;
        }
        const __m256i order = asOrder(kLanesOfSet[block.peaks()]);
        store(output.indices + 4 * at.kept, _mm256_permutevar8x32_epi32(block.indices, order));
        store(output.intensities + 4 * at.kept, block.intensities(scan.scale, order));
        at.kept += static_cast<std::size_t>(std::popcount(block.peaks()));
        base = block.next;
    }
    base = decodeRest(scan, output, at, base);
    at.index = static_cast<std::uint32_t>(_mm256_cvtsi256_si32(base));
}

}  // namespace lumo::io::kova

#endif
