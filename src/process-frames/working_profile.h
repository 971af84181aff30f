#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "process-frames/full_profile_projector.h"
#include "process-frames/sparse_profile.h"

namespace lumo::algorithm {

// Where the collected peaks of one profile are summed up, one profile after the other on a thread. A first pass
// over the peaks marks occupied bins by one bit each, a second one adds up intensities in one entry per occupied
// bin, which it finds by counting the bits before it. So what is written to at random stays within the cache.
class WorkingProfile {
public:
    using Parts = std::span<const FullProfileProjector<int>::Part>;

    // All peaks must be inside a profile of `binCount` bins. Valid until the next call.
    SparseProfile sumUp(Parts parts, std::size_t binCount);

private:
    using Words = std::span<const std::uint32_t>;

    void reserve(std::size_t binCount, std::size_t occupiedCount);
    void mark(std::span<const std::uint32_t> bins) noexcept;
    Words findHitWords(std::size_t binCount) noexcept;
    std::span<const BinInterval> takeRuns(Words words) noexcept;

    std::size_t capacity = 0;                   // in bins
    std::unique_ptr<std::uint64_t[]> hit;       // one bit per bin; all of them 0 between uses
    std::vector<std::uint32_t> hitWords;        // which words of `hit` have bits
    std::vector<std::uint32_t> occupiedBefore;  // each of these words
    std::vector<BinInterval> runs;
    std::vector<int> sums;
};

}  // namespace lumo::algorithm
