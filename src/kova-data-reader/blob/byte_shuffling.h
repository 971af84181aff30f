#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "diag/assert.h"
#include "sys/cpu.h"

namespace lumo::io::kova::decoding {

// Word i of a byte-shuffled array: N = size / 4 words, stored as four planes of N bytes, the least
// significant bytes of all words first. Neighbouring words often have equal high bytes, so such planes
// compress better than words do. Requires i < N.
inline std::uint32_t decodeByteShuffling(std::span<const std::byte> buffer, std::size_t i) {
    const std::size_t n = buffer.size() / 4;
    LUMO_ASSERT(i < n);
    return std::to_integer<std::uint32_t>(buffer[i]) | (std::to_integer<std::uint32_t>(buffer[n + i]) << 8) |
           (std::to_integer<std::uint32_t>(buffer[2 * n + i]) << 16) |
           (std::to_integer<std::uint32_t>(buffer[3 * n + i]) << 24);
}

// The same for `count` successive words from `first` on; all of them must be in the array. All levels give
// the same words.
void decodeByteShuffling(std::span<const std::byte> buffer, std::size_t first, std::size_t count,
                         std::uint32_t* words, sys::SimdLevel level = sys::simdLevel());

}  // namespace lumo::io::kova::decoding
