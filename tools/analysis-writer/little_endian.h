#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

namespace analysis_writer {

// Numbers byte by byte, so files are the same on every processor.
using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

inline void storeU32(std::uint8_t* target, std::uint32_t value) {
    target[0] = static_cast<std::uint8_t>(value);
    target[1] = static_cast<std::uint8_t>(value >> 8);
    target[2] = static_cast<std::uint8_t>(value >> 16);
    target[3] = static_cast<std::uint8_t>(value >> 24);
}

// Overwrites four bytes of finished data: the way tests damage a single field.
inline void patchU32(Bytes& bytes, std::size_t offset, std::uint32_t value) {
    if (offset > bytes.size() || bytes.size() - offset < 4)
        throw std::out_of_range("patchU32: no such bytes");
    storeU32(bytes.data() + offset, value);
}

inline void appendU32(Bytes& bytes, std::uint32_t value) {
    const std::size_t offset = bytes.size();
    bytes.resize(offset + 4);
    storeU32(bytes.data() + offset, value);
}

inline void appendU64(Bytes& bytes, std::uint64_t value) {
    appendU32(bytes, static_cast<std::uint32_t>(value));
    appendU32(bytes, static_cast<std::uint32_t>(value >> 32));
}

inline void appendF32(Bytes& bytes, float value) { appendU32(bytes, std::bit_cast<std::uint32_t>(value)); }
inline void appendF64(Bytes& bytes, double value) { appendU64(bytes, std::bit_cast<std::uint64_t>(value)); }

inline void appendBytes(Bytes& bytes, ByteView more) {
    const std::size_t offset = bytes.size();
    bytes.resize(offset + more.size());
    std::copy(more.begin(), more.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

}  // namespace analysis_writer
