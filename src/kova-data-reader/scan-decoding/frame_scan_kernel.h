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

    // The scans [begin, end), one after the other, to the targets, which move on. Nothing beyond the peaks
    // that are kept is written. The caller has checked that the scans lie inside of the frame and that there
    // is room for all of their peaks.
    void decode(const FrameScans& frame, std::uint32_t begin, std::uint32_t end, BinLimit& limit,
                ScanTargets& targets) const;

private:
    DecodeScans decodeScans;
};

}  // namespace lumo::io::kova
