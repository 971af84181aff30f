#pragma once

#include <cstddef>
#include <span>

#include "kova-data-reader/scan-decoding/run_length_runs.h"
#include "sys/cpu.h"

namespace lumo::io::kova {

class BinLimit;

// The number of peaks before the bin limit is applied, and so the room that decoding needs.
std::size_t countRunLengthPeaks(std::span<const std::byte> values);

// Expands run-length coded scans in the widest form that the level allows.
class RunLengthKernel {
public:
    explicit RunLengthKernel(sys::SimdLevel level = sys::simdLevel());

    // Returns the number of peaks whose index is below the bin limit, which is the scan's; only those are
    // stored.
    std::size_t decode(const RunLengthScan& scan, BinLimit& limit, const PeakOutput& output) const;

private:
    bool byEight;
};

}  // namespace lumo::io::kova
