#pragma once

#include "analysis-writer/frame.h"
#include "analysis-writer/little_endian.h"

namespace analysis_writer {

// Scan-wise compressed storage (compression type 1): a header of scan offsets, then one LZF stream per scan.

// Intensities and negative gap lengths. Indices must ascend and intensities fit 31 bits, else
// std::invalid_argument.
std::vector<std::int32_t> runLengthValues(const Scan& scan);

Bytes littleEndian(std::span<const std::int32_t> values);

// The LZF stream of any values; no values give no bytes.
Bytes valuesStream(std::span<const std::int32_t> values);
Bytes scanStream(const Scan& scan);

// First word, number of scans, offsets. The count can be given apart from the offsets to claim a wrong one.
Bytes scanFrameHeader(std::uint32_t firstWord, std::uint32_t scanCount,
                      std::span<const std::uint32_t> offsets);

// Header and streams; offsets are counted from the start of the block, the first word is the block's size.
Bytes scanFrameBlock(std::span<const Bytes> streams);
Bytes scanFrameBlock(const Frame& frame);

}  // namespace analysis_writer
