#pragma once

#include <cstdint>
#include <limits>
#include <span>

#include "kova-simulate/sample.h"

namespace simulator {

// Something that arrives during one frame: detector lines at one place of the mobility axis.
struct Arrival {
    double scan;
    double intensity;  // over all scans and lines, relative
    std::span<const IsotopeLine> lines;
    std::uint32_t scanBegin = 0;  // nothing of it arrives in other scans
    std::uint32_t scanEnd = std::numeric_limits<std::uint32_t>::max();
};

inline constexpr double kScanReach = 3.0;  // standard deviations on each side of a mobility peak's centre

}  // namespace simulator
