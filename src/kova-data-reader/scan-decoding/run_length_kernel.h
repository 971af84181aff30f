#pragma once

#include <cstddef>
#include <span>

#include "kova-data-reader/scan-decoding/run_length_runs.h"
#include "kova-data-reader/scan-decoding/scan_targets.h"
#include "sys/cpu.h"

namespace lumo::io::kova {

class BinLimit;

// The number of peaks before the bin limit is applied, and so the room that decoding needs.
std::size_t countRunLengthPeaks(std::span<const std::byte> values);

// Expands run-length coded scans in the widest form that the level allows. All levels give the same bits.
class RunLengthKernel {
public:
    explicit RunLengthKernel(sys::SimdLevel level = sys::simdLevel());

    // Stores the peaks whose index is below the bin limit, which must be the scan's `bins`. There must be
    // room for all `peaks` of the scan; more than those kept may be overwritten.
    void decode(const RunLengthScan& scan, BinLimit& limit, ScanTargets& targets) const;

private:
    std::size_t expand(const RunLengthScan& scan, BinLimit& limit, const PeakOutput& output) const;

    bool byEight;
};

}  // namespace lumo::io::kova
