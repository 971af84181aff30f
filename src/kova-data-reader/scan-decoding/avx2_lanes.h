#pragma once

#ifdef __x86_64__

#include <cstddef>

#include <immintrin.h>

#include "sys/cpu.h"

// What the AVX2 kernels share. Functions that are compiled for AVX2 carry LUMO_AVX2, and only such functions
// may call them; the choice between kernels is made once, by function pointer, from sys/cpu.h.
namespace lumo::io::kova::lanes {

LUMO_AVX2 inline __m256i load256(const std::byte* address) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(address));
}

// Running sums inside of each half of four values; instructions of this width do not move values from one
// half to the other.
LUMO_AVX2 inline __m256i runningSumOfHalves(__m256i v) {
    v = _mm256_add_epi32(v, _mm256_slli_si256(v, 4));
    return _mm256_add_epi32(v, _mm256_slli_si256(v, 8));
}

// The operations of lanes.h's scaled(), in the same order, on four values in the low halves of 64-bit lanes.
LUMO_AVX2 inline __m256i scaledLanes256(__m256i values, __m256d factor) {
    const __m256d shift = _mm256_set1_pd(0x1p52);
    const __m256d exact =
        _mm256_sub_pd(_mm256_castsi256_pd(_mm256_or_si256(values, _mm256_castpd_si256(shift))), shift);
    __m256d x = _mm256_add_pd(_mm256_mul_pd(exact, factor), _mm256_set1_pd(0.5));
    x = _mm256_and_pd(x, _mm256_cmp_pd(x, _mm256_setzero_pd(), _CMP_GE_OQ));  // not-a-number compares false
    x = _mm256_min_pd(x, _mm256_set1_pd(4294967295.0));
    const __m256d whole = _mm256_add_pd(_mm256_floor_pd(x), shift);
    return _mm256_and_si256(_mm256_castpd_si256(whole), _mm256_set1_epi64x(0xFFFFFFFF));
}

LUMO_AVX2 inline __m256i scaled256(__m256i values, __m256d factor) {
    const __m256i even = scaledLanes256(_mm256_and_si256(values, _mm256_set1_epi64x(0xFFFFFFFF)), factor);
    const __m256i odd = scaledLanes256(_mm256_srli_epi64(values, 32), factor);
    return _mm256_or_si256(even, _mm256_slli_epi64(odd, 32));
}

}  // namespace lumo::io::kova::lanes

#endif
