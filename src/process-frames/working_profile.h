#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "process-frames/full_profile_projector.h"
#include "process-frames/occupied_sums.h"
#include "process-frames/sparse_profile.h"

namespace lumo::algorithm {

// Memory for occupied_sums.h that is kept from one profile to the next, so that summing up a profile takes no
// memory once the thread has seen its longest one. One per thread.
//
// Memory is taken before the first bit is set. Nothing fails from there on, so no bit of a profile can be
// left for the next one.
class WorkingProfile {
public:
    using Parts = std::span<const FullProfileProjector<int>::Part>;

    explicit WorkingProfile(sys::SimdLevel level = sys::simdLevel()) : form(sumUpFormFor(level)) {}

    // All peaks must be inside a profile of `binCount` bins. Valid until the next call.
    SparseProfile sumUp(Parts parts, std::size_t binCount);

private:
    void reserve(std::size_t binCount, std::size_t occupiedCount);

    SumUpForm form;
    std::size_t capacity = 0;  // in bins
    std::unique_ptr<std::uint64_t[]> hit;
    std::vector<std::uint32_t> hitWords;
    std::vector<std::uint32_t> occupiedBefore;
    std::vector<BinInterval> runs;
    std::vector<int> sums;
};

}  // namespace lumo::algorithm
