#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "process-frames/full_profile_projector.h"
#include "process-frames/sparse_profile.h"
#include "sys/cpu.h"

namespace lumo::algorithm {

inline constexpr std::size_t kBinsPerWord = 64;

// Words of `hit` are looked at in groups of so many.
inline constexpr std::size_t kWordsPerGroup = 64;

// Memory to sum up a profile in, one entry per occupied bin in `sums` and `runs`, and per word, up to whole
// groups, in the others.
struct OccupancyMemory {
    std::uint64_t* hit;             // one bit per bin; all of them 0 between uses
    std::uint32_t* hitWords;        // which words of `hit` have bits
    std::uint32_t* occupiedBefore;  // each of these words
    BinInterval* runs;
    int* sums;
};

// Sums up peaks, all of them inside a profile of `binCount` bins, wrapping in 32 bits. A first pass over the
// peaks marks occupied bins by one bit each, a second one adds up intensities in one entry per occupied bin,
// which it finds by counting the bits before it. So what is written to at random stays within the cache.
using SumUpForm = SparseProfile (*)(std::span<const FullProfileProjector<int>::Part> parts,
                                    std::size_t binCount, const OccupancyMemory& memory) noexcept;

SumUpForm sumUpFormFor(sys::SimdLevel level);

}  // namespace lumo::algorithm
