#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "diag/assert.h"

namespace lumo::algorithm {

// Scans of one frame, decoded and laid end to end: scan s owns the entries from scanOffsets[s] up to
// scanOffsets[s + 1] of both buffers, indices ascending. Buffers may be longer than what is used. Whoever
// fills it keeps the three arrays consistent. Used by one thread at a time.
template <class Index, class Intensity>
struct DataFrame {
    std::vector<Index> indices;
    std::vector<Intensity> intensities;
    std::vector<std::uint64_t> scanOffsets;
    std::size_t numberOfScans = 0;
    std::size_t peakCapacity = 0;

    // Sizes the buffers for `numberOfScans` scans and `peakCapacity` peaks, keeping what they hold.
    void allocateBuffers() {
        indices.resize(peakCapacity);
        intensities.resize(peakCapacity);
        scanOffsets.resize(numberOfScans + 1);
    }

    std::size_t numberOfPeaks() const {
        LUMO_ASSERT(scanOffsets.empty() || numberOfScans < scanOffsets.size());
        return scanOffsets.empty() ? 0 : static_cast<std::size_t>(scanOffsets[numberOfScans]);
    }
};

}  // namespace lumo::algorithm
