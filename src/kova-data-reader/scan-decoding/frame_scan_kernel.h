#pragma once

#include <cstddef>
#include <cstdint>

#include "kova-data-reader/scan-decoding/frame_scans.h"
#include "sys/cpu.h"

namespace lumo::io::kova {

class BinLimit;

// Decodes scans of byte-shuffled frames with the instructions of a level. All levels give the same bits. Peaks
// whose index is at or beyond the bin limit are dropped.
class FrameScanKernel {
public:
    explicit FrameScanKernel(sys::SimdLevel level = sys::simdLevel());

    // One scan. Returns the number of its peaks; they are stored without gaps, or only counted without targets.
    std::size_t decode(const FrameScans& frame, std::uint32_t scan, BinLimit& limit,
                       ScanTargets targets) const;

    // The scans [begin, end), one behind the other.
    void decode(const FrameScans& frame, std::uint32_t begin, std::uint32_t end, BinLimit& limit,
                ScanTargets& targets) const;

private:
    DecodeScans decodeScans;
};

}  // namespace lumo::io::kova
