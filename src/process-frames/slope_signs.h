#pragma once

#include <cstddef>
#include <cstdint>

#include "sys/cpu.h"

namespace lumo::algorithm {

// Signs of the slopes of up to 64 successive bins, one bit each. A slope is
//   sum[i + half] + sum[i - half] - 2 * sum[i]
// of running sums.
struct SlopeSigns {
    std::uint64_t rising = 0;
    std::uint64_t falling = 0;
};

// Slopes are computed in groups: running sums are read, though not used, up to this many behind the last
// window.
inline constexpr std::size_t kSlopeGroup = 16;

// For any running sums.
SlopeSigns slopeSigns(const std::int32_t* sum, std::size_t half, std::size_t count);

// The same in the form of a level, for running sums that neither fall nor wrap, so that every slope is within 32 bits.
using SlopeSignsForm = SlopeSigns (*)(const std::int32_t* sum, std::size_t half, std::size_t count);
SlopeSignsForm ascendingSlopeSignsFor(sys::SimdLevel level);

}  // namespace lumo::algorithm
