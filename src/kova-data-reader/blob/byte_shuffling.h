#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace lumo::io::kova::decoding {

// Word i of a byte-shuffled array: N = size / 4 words, stored as four planes of N bytes, the least
// significant bytes of all words first. i must be below N.
inline std::uint32_t decodeByteShuffling(std::span<const std::byte> buffer, std::size_t i) {
    const std::size_t n = buffer.size() / 4;
    return std::to_integer<std::uint32_t>(buffer[i]) | (std::to_integer<std::uint32_t>(buffer[n + i]) << 8) |
           (std::to_integer<std::uint32_t>(buffer[2 * n + i]) << 16) |
           (std::to_integer<std::uint32_t>(buffer[3 * n + i]) << 24);
}

// The same for `count` successive words from `first` on.
inline void decodeByteShuffling(std::span<const std::byte> buffer, std::size_t first, std::size_t count,
                                std::uint32_t* words) {
    const std::size_t n = buffer.size() / 4;
    const auto* const p0 = reinterpret_cast<const std::uint8_t*>(buffer.data()) + first;
    const auto* const p1 = p0 + n;
    const auto* const p2 = p1 + n;
    const auto* const p3 = p2 + n;
    for (std::size_t i = 0; i < count; ++i) {
        words[i] = static_cast<std::uint32_t>(p0[i]) | (static_cast<std::uint32_t>(p1[i]) << 8) |
                   (static_cast<std::uint32_t>(p2[i]) << 16) | (static_cast<std::uint32_t>(p3[i]) << 24);
    }
}

}  // namespace lumo::io::kova::decoding
