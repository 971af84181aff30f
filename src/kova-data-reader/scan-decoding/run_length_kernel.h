#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "kova-data-reader/scan-decoding/normalization.h"
#include "kova-data-reader/scan-decoding/peak_output.h"

namespace lumo::io::kova {

class BinLimit;

// The number of peaks before the bin limit is applied, and so the room that decoding needs.
std::size_t countRunLengthPeaks(std::span<const std::byte> values);

// Expands run-length coded bins, little-endian signed 32-bit values: -k skips k bins, any other value is the
// intensity of the current bin. Returns the number of peaks whose index is below the bin limit; only those
// are stored.
std::size_t decodeRunLengthScan(std::span<const std::byte> values, const IntensityScale& scale,
                                BinLimit& limit, const PeakOutput& output);

}  // namespace lumo::io::kova
