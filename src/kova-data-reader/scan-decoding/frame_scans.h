#pragma once

#include <cstddef>
#include <cstdint>

#include "kova-data-reader/scan-decoding/intensity_scale.h"
#include "kova-data-reader/scan-decoding/scan_targets.h"

namespace lumo::io::kova {

// Scans of a byte-shuffled frame: scan i consists of the words starts[i] ... starts[i + 1] - 1, pairs of
// (index delta, intensity). The sum of the deltas up to a peak, less one, is its index. All scans that are
// decoded lie inside of the frame, and their numbers of words are even: whoever fills this in has checked
// that.
struct FrameScans {
    const std::byte* shuffled = nullptr;  // four planes of bytes
    std::size_t planeSize = 0;            // words in the frame
    const std::uint32_t* starts = nullptr;
    std::uint32_t bins = 0;  // indices from here on are dropped
    IntensityScale scale;
};

// Decodes the scans [scan, end) up to the first one that has a peak to be dropped, or that lies too near the
// frame's end for vectors; returns its number, or `end`. The targets have moved on by the scans that were
// decoded.
using DecodeScans = std::uint32_t (*)(const FrameScans& frame, std::uint32_t scan, std::uint32_t end,
                                      ScanTargets& targets);

std::uint32_t decodeScansByVector128(const FrameScans& frame, std::uint32_t scan, std::uint32_t end,
                                     ScanTargets& targets);
#ifdef __x86_64__
std::uint32_t decodeScansByAvx2(const FrameScans& frame, std::uint32_t scan, std::uint32_t end,
                                ScanTargets& targets);
#endif

}  // namespace lumo::io::kova
