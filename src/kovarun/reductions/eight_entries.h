#pragma once

#ifdef __x86_64__

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <immintrin.h>

#include "sys/cpu.h"

namespace lumo::run {

// An entry of 32 bits in a table of whatever type.
LUMO_AVX2 inline int entryAt(const void* table, std::uint64_t position) {
    int entry;
    std::memcpy(&entry, static_cast<const std::byte*>(table) + sizeof entry * position, sizeof entry);
    return entry;
}

// The entries at index >> shift of eight indices, loaded one by one: the instruction that gathers them takes
// half as long again on processors that make many small steps of it.
LUMO_AVX2 inline __m256i eightEntries(const void* table, const std::uint32_t* indices, unsigned shift) {
    std::uint64_t pairs[4];  // of indices, the first in the lower half
    std::memcpy(pairs, indices, sizeof pairs);
    __m128i halves[2];
    for (std::size_t i = 0; i < 2; ++i) {
        const std::uint64_t* const two = pairs + 2 * i;
        __m128i four = _mm_cvtsi32_si128(entryAt(table, static_cast<std::uint32_t>(two[0]) >> shift));
        four = _mm_insert_epi32(four, entryAt(table, two[0] >> (32 + shift)), 1);
        four = _mm_insert_epi32(four, entryAt(table, static_cast<std::uint32_t>(two[1]) >> shift), 2);
        halves[i] = _mm_insert_epi32(four, entryAt(table, two[1] >> (32 + shift)), 3);
    }
    return _mm256_inserti128_si256(_mm256_castsi128_si256(halves[0]), halves[1], 1);
}

}  // namespace lumo::run

#endif
