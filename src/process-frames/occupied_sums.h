#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "process-frames/full_profile_projector.h"
#include "process-frames/sparse_profile.h"
#include "sys/cpu.h"

namespace lumo::algorithm {

// Adds up the peaks of a profile without ever touching its empty bins.
//
// A profile has some 400,000 bins, a precursor hits a few thousand of them, and it hits them in random order.
// Adding into one integer per bin would miss the cache at nearly every peak and would have to clear 1.6 MB
// per profile. So the work is done in two passes over the peaks and with one bit per bin, 50 KB, which stay
// in the cache:
//
//   1. Each peak sets the bit of its bin. Then the words that are not 0 are listed, and for each of them how
//      many bits there are in all words before it: its rank.
//   2. A bin's sum is entry "rank of its word + number of bits below its own" of `sums`, which is therefore
//      dense and in ascending order of bins. Each peak is added there.
//
// Finally the runs of ones are read off as intervals of occupied bins, and the bits are cleared word by word.
//
// What must stay true: peaks of one bin are added in the order in which they come, in 32 bits that wrap, so
// that a sum does not depend on the form that computes it; and all bits are 0 again at the end, so that
// nothing is cleared twice.

inline constexpr std::size_t kBinsPerWord = 64;

// Words of `hit` are tested for 0 in groups of this many, which gives one mask of 64 bits per group.
inline constexpr std::size_t kWordsPerGroup = 64;

// Memory to sum up a profile in. `sums` and `runs` have an entry per occupied bin; the others have one per
// word, and their number of words is a multiple of kWordsPerGroup.
struct OccupancyMemory {
    std::uint64_t* hit;             // one bit per bin; all of them 0 between uses
    std::uint32_t* hitWords;        // indices of the words of `hit` that have bits
    std::uint32_t* occupiedBefore;  // per word that has bits: number of bits in all words before it
    BinInterval* runs;
    int* sums;
};

// Sums up peaks, all of them inside a profile of `binCount` bins. The result refers to the memory.
using SumUpForm = SparseProfile (*)(std::span<const FullProfileProjector<int>::Part> parts,
                                    std::size_t binCount, const OccupancyMemory& memory) noexcept;

SumUpForm sumUpFormFor(sys::SimdLevel level);

}  // namespace lumo::algorithm
