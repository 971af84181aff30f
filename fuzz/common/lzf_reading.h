#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "common/require.h"

namespace fuzz {

// Decompresses a stream into exactly as many bytes as it needs, decodes the run-length code in them and holds
// the peaks against the plain form of the rules. Fails as the readers do. Returns the bytes.
std::vector<std::uint8_t> decodeLzfScan(std::span<const std::byte> stream, std::uint32_t bins, double factor);

}  // namespace fuzz
