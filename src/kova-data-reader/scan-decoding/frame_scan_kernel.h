#pragma once

#include <cstdint>

#include "kova-data-reader/scan-decoding/frame_scans.h"
#include "sys/cpu.h"

namespace lumo::io::kova {

class BinLimit;

// Decodes scans of byte-shuffled frames with the instructions of a level. All levels give the same bits.
// Peaks whose index is at or beyond the bin limit are dropped.
class FrameScanKernel {
public:
    explicit FrameScanKernel(sys::SimdLevel level = sys::simdLevel());

    // The scans [begin, end), one after the other. Nothing beyond the peaks that are kept is written.
    void decode(const FrameScans& frame, std::uint32_t begin, std::uint32_t end, BinLimit& limit,
                ScanTargets& targets) const;

private:
    DecodeScans decodeScans;
};

}  // namespace lumo::io::kova
