#include "process-frames/slope_signs.h"

#include <algorithm>

#include "diag/assert.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

// The plain form takes sums that wrap, in 64 bits; the vector form relies on sums that only ascend, so four
// slopes of 32 bits fit into one vector.
namespace lumo::algorithm {

namespace {

#ifdef __SSE2__

__m128i fourSums(const std::int32_t* sum) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(sum)); }

__m128i fourSlopes(const std::int32_t* sum, std::ptrdiff_t half) {
    const __m128i centre = fourSums(sum);
    return _mm_sub_epi32(_mm_sub_epi32(fourSums(sum + half), centre),
                         _mm_sub_epi32(centre, fourSums(sum - half)));
}

SlopeSigns slopeSignsOfAscending(const std::int32_t* sum, std::size_t half, std::size_t count) {
    LUMO_ASSERT(count <= 64 && std::is_sorted(sum - half, sum + count + half));
    const auto h = static_cast<std::ptrdiff_t>(half);
    SlopeSigns signs;
    for (std::size_t group = 0; group < count; group += kSlopeGroup, sum += kSlopeGroup) {
        // 16 slopes of 32 bits are narrowed to 16 bytes, whose top bits can be read at once. Narrowing
        // saturates, so it keeps the signs.
        const __m128i low = _mm_packs_epi32(fourSlopes(sum, h), fourSlopes(sum + 4, h));
        const __m128i high = _mm_packs_epi32(fourSlopes(sum + 8, h), fourSlopes(sum + 12, h));
        const __m128i slopes = _mm_packs_epi16(low, high);
        const int rising = _mm_movemask_epi8(_mm_cmpgt_epi8(slopes, _mm_setzero_si128()));
        const int falling = _mm_movemask_epi8(slopes);
        signs.rising |= static_cast<std::uint64_t>(static_cast<std::uint32_t>(rising)) << group;
        signs.falling |= static_cast<std::uint64_t>(static_cast<std::uint32_t>(falling)) << group;
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

SlopeSignsForm ascendingSlopeSignsFor(sys::SimdLevel level) {
#ifdef __SSE2__
    if (level >= sys::SimdLevel::Vector128) {
        return slopeSignsOfAscending;
    }
#endif
    return slopeSigns;
}

}  // namespace lumo::algorithm
