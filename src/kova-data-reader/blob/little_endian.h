#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace lumo::io::kova {

// The one way in which integers of a file are read: 4 bytes at any address, least significant first. The
// caller guarantees the 4 bytes.
inline std::uint32_t loadU32(const std::byte* bytes) {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    if constexpr (std::endian::native == std::endian::big) {
        word = __builtin_bswap32(word);
    }
    return word;
}

}  // namespace lumo::io::kova
