#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

// The one way numbers of a file are read: from any address, least significant byte first. Where the processor
// stores them so, which nearly all do, these are plain copies.
namespace lumo::sys {

template <class T>
void reverseBytesOnBigEndian(std::span<T> values) {
    if constexpr (std::endian::native == std::endian::big) {
        const std::span<std::byte> bytes = std::as_writable_bytes(values);
        for (std::size_t i = 0; i < bytes.size(); i += sizeof(T)) {
            std::ranges::reverse(bytes.subspan(i, sizeof(T)));
        }
    }
}

// Fills `values`, which may be empty and null. The caller guarantees the bytes.
template <class T>
void loadNumbers(const std::byte* bytes, std::span<T> values) {
    if (!values.empty()) {
        // NOLINTNEXTLINE(clang-analyzer-core.NonNullParamChecker): bytes are null only where there are no values
        std::memcpy(values.data(), bytes, values.size_bytes());
        reverseBytesOnBigEndian(values);
    }
}

// The caller guarantees the 4 bytes.
inline std::uint32_t loadU32(const std::byte* bytes) {
    std::uint32_t word = 0;
    loadNumbers(bytes, std::span(&word, 1));
    return word;
}

}  // namespace lumo::sys
