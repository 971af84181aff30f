#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "kova-data-reader/scan-decoding/intensity_scale.h"
#include "kova-data-reader/scan-decoding/peak_output.h"

namespace lumo::io::kova {

// Run-length coded bins, little-endian signed 32-bit values: -k skips k bins, any other value is the
// intensity of the current bin.
struct RunLengthScan {
    std::span<const std::byte> values;
    std::size_t peaks = 0;   // among the values
    std::uint32_t bins = 0;  // peaks from this index on are dropped
    IntensityScale scale;
};

// How far a scan has been decoded.
struct RunLengthPosition {
    std::size_t value = 0;    // the next one
    std::uint64_t index = 0;  // its bin; 64 bits hold every sum of skips that a scan can have room for
    std::size_t kept = 0;     // peaks stored so far
};

// Decodes eight values at a time, from the beginning of the scan up to the first peak that is dropped or the
// first huge skip, or a little less. Entries after those kept may be overwritten, within the room for the
// scan's peaks.
void decodeRunsByAvx2(const RunLengthScan& scan, const PeakOutput& output, RunLengthPosition& at);

}  // namespace lumo::io::kova
