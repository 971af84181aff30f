#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "kova-data-reader/scan-decoding/scan_decoder.h"

namespace lumo::io::kova {

inline constexpr std::size_t kWordSize = sizeof(std::uint32_t);

// Decodes one scan to `target`, which has room for `bound` peaks, and returns the number of peaks.
// Intensities follow the indices, so they move up when peaks were dropped.
inline std::size_t packScan(ScanDecoder& decoder, std::uint32_t scan, const IntensityScale& scale,
                            std::size_t bound, std::byte* target) {
    const PeakOutput output{target, target + kWordSize * bound};
    const std::size_t peaks = decoder.decode(scan, scale, output);
    if (peaks < bound) {
        output.moveIntensitiesTo(target + kWordSize * peaks, peaks);
    }
    return peaks;
}

inline void storePeakCount(std::byte* counts, std::uint64_t slot, std::size_t peaks) {
    const auto count = static_cast<std::uint32_t>(peaks);
    std::memcpy(counts + kWordSize * slot, &count, kWordSize);
}

}  // namespace lumo::io::kova
