#pragma once

#include <optional>

#include "analysis-writer/little_endian.h"

namespace analysis_writer {

// Values written into a block header instead of the true ones.
struct BlockOverrides {
    std::optional<std::uint32_t> blockSize;
    std::optional<std::uint32_t> secondEntry;
};

constexpr std::size_t kBlockHeaderBytes = 8;

Bytes blockHeader(std::uint32_t blockSize, std::uint32_t secondEntry);

// Header and payload; the block size in the header counts both.
Bytes block(std::uint32_t secondEntry, ByteView payload, const BlockOverrides& overrides = {});

// Writes the header before a payload that was built after kBlockHeaderBytes placeholder bytes.
void finishBlock(Bytes& block, std::uint32_t secondEntry, const BlockOverrides& overrides = {});

// Throws std::length_error when the value does not fit the 32 bits that the file has for it.
std::uint32_t fileSize32(std::size_t size);

}  // namespace analysis_writer
