#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace lumo::io::kova {

// Where the peaks of successive scans go, one scan after the other. Addresses need not be aligned. Targets
// move on with each scan, so they also tell what has been decoded.
//
// Two forms are needed: indices and intensities in arrays of their own, or the intensities of each scan right
// after its indices. In the second form the place of a scan's intensities follows from the number of its
// peaks, which is not known before all its indices have been compared with the bin limit.
struct ScanTargets {
    std::byte* counts = nullptr;       // the next scan's number of peaks; null: not wanted
    std::byte* indices = nullptr;      // its indices; null: peaks are only counted
    std::byte* intensities = nullptr;  // its intensities; null: right after its indices
    std::uint64_t peaks = 0;           // of all scans so far

    bool areCountedOnly() const { return indices == nullptr; }

    std::byte* intensitiesOf(std::size_t scanPeaks) const {
        const bool followIndices = intensities == nullptr && indices != nullptr;
        return followIndices ? indices + 4 * scanPeaks : intensities;
    }

    void advance(std::size_t scanPeaks) {
        if (counts != nullptr) {
            const auto count = static_cast<std::uint32_t>(scanPeaks);
            std::memcpy(counts, &count, sizeof count);
            counts += sizeof count;
        }
        if (indices != nullptr) {
            indices += (intensities != nullptr ? 4 : 8) * scanPeaks;
        }
        if (intensities != nullptr) {
            intensities += 4 * scanPeaks;
        }
        peaks += scanPeaks;
    }

    // The same for scans that are known to have no peaks.
    void advanceOverEmptyScans(std::uint64_t scans) {
        if (counts != nullptr) {
            std::memset(counts, 0, sizeof(std::uint32_t) * scans);
            counts += sizeof(std::uint32_t) * scans;
        }
    }
};

}  // namespace lumo::io::kova
