#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "process-frames/data_frame.h"

namespace lumo::algorithm {

// A time-of-flight profile: bin b holds the summed intensity of index firstIndex + b. Sums wrap in 32 bits.
//
// A profile has hundreds of thousands of bins, of which a few thousand are hit. So peaks are only collected
// at first; bins are made as soon as they take less memory than the peaks would. Memory is therefore at most
// twice that of the bins, and usually a small part of it. Used by one thread at a time.
//
// Many precursors are open at the same time, each with a profile of its own: with bins from the start an
// analysis would need gigabytes. Collected peaks are summed up only when the profile is complete
// (occupied_sums.h). As sums wrap, they do not depend on whether and when bins were made.
template <class Intensity>
class FullProfileProjector {
public:
    // Peaks, each an entry of both.
    struct Part {
        std::unique_ptr<std::uint32_t[]> bins;
        std::unique_ptr<Intensity[]> intensities;
        std::size_t count = 0;

        std::span<const std::uint32_t> binView() const { return {bins.get(), count}; }
    };

    // Bins keep their values, new ones are 0, those beyond `count` are lost. Raises std::invalid_argument
    // "Fixed capacity (n) exceeded."
    void setParameters(std::size_t firstIndex, std::size_t count);

    // From now on profiles of more than `capacity` bins are refused.
    void setFixedCapacity(std::size_t capacity);

    std::size_t firstIndex() const { return first; }
    std::size_t count() const { return bins; }

    // Peaks outside the profile are dropped.
    void add(const DataFrame<int, Intensity>& frame);

    // All bins to 0.
    void clear();

    // A copy of the profile, one entry per bin.
    std::vector<Intensity> profile() const;

    // The profile is either its bins or the sum of collected peaks, all of them inside the profile; the other
    // is empty. Valid until the next change.
    bool hasBins() const { return !dense.empty(); }
    std::span<const Intensity> denseBins() const { return dense; }
    std::span<const Part> collectedPeaks() const { return collected; }

private:
    // Indices below the first bin wrap around to bins that no profile has.
    std::uint64_t binOf(int index) const { return static_cast<std::uint64_t>(std::int64_t{index}) - first; }
    void addToBins(const DataFrame<int, Intensity>& frame, std::size_t peaks);
    void collect(const DataFrame<int, Intensity>& frame, std::size_t peaks);
    void makeDense();

    std::size_t first = 0;
    std::size_t bins = 0;
    bool capacityIsFixed = false;
    std::size_t capacity = 0;
    std::vector<Intensity> dense;
    std::vector<Part> collected;  // as they were added
    std::size_t collectedCount = 0;
};

// The sum of two intensities, wrapping in 32 bits.
inline std::int32_t wrappingSum(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

}  // namespace lumo::algorithm
