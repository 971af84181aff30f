#include "process-frames/running_sum.h"

#include "process-frames/full_profile_projector.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace lumo::algorithm {

namespace {

#ifdef __SSE2__

constexpr std::size_t kLanes = 4;

// The sums of as many whole vectors as there are; `values` loses what was summed up.
RunningSum sumUpVectors(std::span<const int>& values, std::int32_t total, std::int32_t*& sums) {
    __m128i carry = _mm_set1_epi32(total);
    __m128i signs = _mm_setzero_si128();
    for (; values.size() >= kLanes; values = values.subspan(kLanes), sums += kLanes) {
        const __m128i four = _mm_loadu_si128(reinterpret_cast<const __m128i*>(values.data()));
        __m128i sum = _mm_add_epi32(four, _mm_slli_si128(four, 4));
        sum = _mm_add_epi32(sum, _mm_slli_si128(sum, 8));
        const __m128i all = _mm_shuffle_epi32(sum, 0xFF);
        sum = _mm_add_epi32(sum, carry);
        carry = _mm_add_epi32(carry, all);
        signs = _mm_or_si128(signs, _mm_or_si128(four, sum));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(sums), sum);
    }
    return {_mm_cvtsi128_si32(carry), _mm_movemask_ps(_mm_castsi128_ps(signs)) != 0 ? -1 : 0};
}

#else

RunningSum sumUpVectors(std::span<const int>&, std::int32_t total, std::int32_t*&) { return {total, 0}; }

#endif

}  // namespace

RunningSum sumUp(std::span<const int> values, std::int32_t total, std::int32_t* sums) {
    RunningSum running = sumUpVectors(values, total, sums);
    for (const int value : values) {
        running.total = wrappingSum(running.total, value);
        running.signs |= running.total | value;
        *sums++ = running.total;
    }
    return running;
}

}  // namespace lumo::algorithm
