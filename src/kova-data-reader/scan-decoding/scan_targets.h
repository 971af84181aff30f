#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace lumo::io::kova {

// Where successive scans go. There is room for each peak that a scan can hold.
struct ScanTargets {
    std::byte* counts = nullptr;       // the next scan's number of peaks; null: not wanted
    std::byte* indices = nullptr;      // its indices; null: nothing is stored
    std::byte* intensities = nullptr;  // its intensities; null: behind its indices

    std::byte* intensitiesOf(std::size_t peaks) const {
        const bool behindIndices = intensities == nullptr && indices != nullptr;
        return behindIndices ? indices + 4 * peaks : intensities;
    }

    void advance(std::size_t peaks) {
        if (counts != nullptr) {
            const auto count = static_cast<std::uint32_t>(peaks);
            std::memcpy(counts, &count, sizeof count);
            counts += sizeof count;
        }
        if (indices != nullptr) {
            indices += (intensities != nullptr ? 4 : 8) * peaks;
        }
        if (intensities != nullptr) {
            intensities += 4 * peaks;
        }
    }
};

}  // namespace lumo::io::kova
