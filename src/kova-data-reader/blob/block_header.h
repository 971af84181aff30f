#pragma once

#include <array>
#include <cstdint>
#include <istream>

namespace lumo::io::kova::binary {

inline constexpr std::uint32_t kBlockHeaderSizeBytes = 8;

// Reads the two words at the start of the block at `position` and leaves the stream at the payload. Raises
// CorruptFrameDataError.
std::array<std::uint32_t, 2> readBlockHeader(std::istream& stream, std::int64_t position,
                                             std::int64_t frameId);

}  // namespace lumo::io::kova::binary
