#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "process-frames/full_profile_projector.h"

namespace lumo::algorithm {

inline constexpr std::size_t kBinsPerWord = 64;

// One entry for each bin whose bit in `hit` is set.
struct OccupiedBins {
    const std::uint64_t* hit;
    std::span<const std::uint32_t> words;  // those of `hit` that have bits, ascending
    std::uint32_t* before;                 // per word of `hit`: the number of bits before it
};

// Fills in `before`; returns the number of all bits.
std::size_t countOccupied(const OccupiedBins& occupied) noexcept;

// Adds each peak to the entry of its bin, wrapping in 32 bits.
void addToOccupied(const OccupiedBins& occupied, const FullProfileProjector<int>::Part& peaks,
                   int* sums) noexcept;

}  // namespace lumo::algorithm
