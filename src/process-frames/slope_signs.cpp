#include "process-frames/slope_signs.h"

#include <algorithm>

#include "diag/assert.h"

#ifdef __SSE2__
#include <emmintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

// The plain form takes sums that wrap, in 64 bits; the vector form relies on sums that only ascend, so four
// slopes of 32 bits fit into one vector.
namespace lumo::algorithm {

namespace {

// 16 slopes of 32 bits are narrowed to 16 bytes, of whose signs two numbers of 16 bits are made. Narrowing
// saturates, so it keeps the signs.
#ifdef __SSE2__
#define LUMO_HAS_SLOPE_GROUPS

__m128i fourSums(const std::int32_t* sum) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(sum)); }

__m128i fourSlopes(const std::int32_t* sum, std::ptrdiff_t half) {
    const __m128i centre = fourSums(sum);
    return _mm_sub_epi32(_mm_sub_epi32(fourSums(sum + half), centre),
                         _mm_sub_epi32(centre, fourSums(sum - half)));
}

SlopeSigns signsOfGroup(const std::int32_t* sum, std::ptrdiff_t half) {
    const __m128i low = _mm_packs_epi32(fourSlopes(sum, half), fourSlopes(sum + 4, half));
    const __m128i high = _mm_packs_epi32(fourSlopes(sum + 8, half), fourSlopes(sum + 12, half));
    const __m128i slopes = _mm_packs_epi16(low, high);
    const int rising = _mm_movemask_epi8(_mm_cmpgt_epi8(slopes, _mm_setzero_si128()));
    const int falling = _mm_movemask_epi8(slopes);
    return {static_cast<std::uint32_t>(rising), static_cast<std::uint32_t>(falling)};
}

#elif defined(__aarch64__)
#define LUMO_HAS_SLOPE_GROUPS

int16x4_t fourSlopes(const std::int32_t* sum, std::ptrdiff_t half) {
    const int32x4_t centre = vld1q_s32(sum);
    return vqmovn_s32(
        vsubq_s32(vsubq_s32(vld1q_s32(sum + half), centre), vsubq_s32(centre, vld1q_s32(sum - half))));
}

// One bit of each byte that is all ones.
std::uint64_t bitsOf(uint8x16_t mask) {
    const uint8x16_t weights = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
    const uint8x16_t bits = vandq_u8(mask, weights);
    return vaddv_u8(vget_low_u8(bits)) | static_cast<std::uint64_t>(vaddv_u8(vget_high_u8(bits))) << 8;
}

SlopeSigns signsOfGroup(const std::int32_t* sum, std::ptrdiff_t half) {
    const int16x8_t low = vcombine_s16(fourSlopes(sum, half), fourSlopes(sum + 4, half));
    const int16x8_t high = vcombine_s16(fourSlopes(sum + 8, half), fourSlopes(sum + 12, half));
    const int8x16_t slopes = vcombine_s8(vqmovn_s16(low), vqmovn_s16(high));
    return {bitsOf(vcgtzq_s8(slopes)), bitsOf(vcltzq_s8(slopes))};
}

#endif

#ifdef LUMO_HAS_SLOPE_GROUPS

SlopeSigns slopeSignsOfAscending(const std::int32_t* sum, std::size_t half, std::size_t count) {
    LUMO_ASSERT(count <= 64 && std::is_sorted(sum - half, sum + count + half));
    const auto h = static_cast<std::ptrdiff_t>(half);
    SlopeSigns signs;
    for (std::size_t group = 0; group < count; group += kSlopeGroup, sum += kSlopeGroup) {
        const SlopeSigns ofGroup = signsOfGroup(sum, h);
        signs.rising |= ofGroup.rising << group;
        signs.falling |= ofGroup.falling << group;
    }
    // The last group may go beyond `count`.
    const std::uint64_t counted = count < 64 ? (std::uint64_t{1} << count) - 1 : ~std::uint64_t{0};
    signs.rising &= counted;
    signs.falling &= counted;
    return signs;
}

#endif

}  // namespace

SlopeSigns slopeSigns(const std::int32_t* sum, std::size_t half, std::size_t count) {
    LUMO_ASSERT(count <= 64);
    const auto h = static_cast<std::ptrdiff_t>(half);
    SlopeSigns signs;
    for (std::size_t i = 0; i < count; ++i, ++sum) {
        const std::int64_t slope = std::int64_t{sum[h]} + sum[-h] - 2 * std::int64_t{sum[0]};
        signs.rising |= static_cast<std::uint64_t>(slope > 0) << i;
        signs.falling |= static_cast<std::uint64_t>(slope < 0) << i;
    }
    return signs;
}

SlopeSignsForm ascendingSlopeSignsFor([[maybe_unused]] sys::SimdLevel level) {
#ifdef LUMO_HAS_SLOPE_GROUPS
    if (level >= sys::SimdLevel::Vector128) {
        return slopeSignsOfAscending;
    }
#endif
    return slopeSigns;
}

}  // namespace lumo::algorithm
