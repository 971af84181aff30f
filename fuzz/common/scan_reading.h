#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "common/require.h"
#include "kova-data-reader/blob/kvd_frame_reader.h"

namespace fuzz {

// Decodes every scan of the loaded frame.
void decodeScans(const lumo::io::kova::KvdFrameReader& frame, std::uint32_t bins, double factor);

// Decompresses a stream into exactly as many bytes as it needs and decodes the run-length code in them. Fails
// as the readers do. Returns the bytes.
std::vector<std::uint8_t> decodeLzfScan(std::span<const std::byte> stream, std::uint32_t bins, double factor);

// Decompresses streams together, with so much room for each, or what they are likely to need where that is 0.
void requireSameFromBothLzfDecoders(const std::vector<std::span<const std::byte>>& streams, std::size_t room);

}  // namespace fuzz
