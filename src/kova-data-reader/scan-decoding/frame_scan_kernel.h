#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "kova-data-reader/scan-decoding/normalization.h"
#include "kova-data-reader/scan-decoding/peak_output.h"

namespace lumo::io::kova {

class BinLimit;

// Decodes the word range [start, end) of a byte-shuffled frame, pairs of (index delta, intensity), to peaks.
// The range must lie inside the buffer and be even. Returns the number of peaks whose index is below the bin
// limit; only those are stored, without gaps.
std::size_t decodeFrameScan(std::span<const std::byte> shuffled, std::uint32_t start, std::uint32_t end,
                            const IntensityScale& scale, BinLimit& limit, const PeakOutput& output);

}  // namespace lumo::io::kova
