#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace lumo::io::kova {

// Where the peaks of one scan go: an array of indices and one of intensities, each with room for every peak
// that the scan can hold. Addresses need not be aligned. Without addresses peaks are only counted. The caller
// has taken the room; nothing is checked here.
struct PeakOutput {
    std::byte* indices = nullptr;
    std::byte* intensities = nullptr;

    bool isCountOnly() const { return indices == nullptr; }

    void store(std::size_t peak, std::uint32_t index, std::uint32_t intensity) const {
        std::memcpy(indices + 4 * peak, &index, 4);
        std::memcpy(intensities + 4 * peak, &intensity, 4);
    }

    // When peaks were dropped, intensities that come right after their indices move to where those now end.
    void moveIntensitiesTo(std::byte* target, std::size_t count) const {
        std::memmove(target, intensities, 4 * count);
    }
};

}  // namespace lumo::io::kova
