#pragma once

#include <cstddef>
#include <cstdint>

#include "sys/cpu.h"

namespace lumo::algorithm {

// Signs of the slopes of up to 64 successive bins, one bit each. A slope is
//   sum[i + half] + sum[i - half] - 2 * sum[i]
// of running sums.
//
// Only the signs are needed to find maxima, and the values only where a sign changes. So the search runs over
// masks of 64 bins, and the few slopes that count are computed one by one in double precision.
struct SlopeSigns {
    std::uint64_t rising = 0;
    std::uint64_t falling = 0;
};

// Slopes are computed in groups of this many. Up to this many running sums after the last window are read,
// though not used, and must be inside the caller's memory.
inline constexpr std::size_t kSlopeGroup = 16;

// For any running sums. They may wrap, so that a slope needs 64 bits.
SlopeSigns slopeSigns(const std::int32_t* sum, std::size_t half, std::size_t count);

// The same in the form of a level, for running sums that neither fall nor wrap, so that every slope is within
// 32 bits and four of them fit into one vector.
using SlopeSignsForm = SlopeSigns (*)(const std::int32_t* sum, std::size_t half, std::size_t count);
SlopeSignsForm ascendingSlopeSignsFor(sys::SimdLevel level);

}  // namespace lumo::algorithm
