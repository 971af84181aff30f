#pragma once

#include <cstdint>

#include "kova-simulate/options.h"

namespace simulator {

struct Summary {
    std::uint64_t frames = 0;
    std::uint64_t ms1Frames = 0;
    std::uint64_t peaks = 0;
    std::uint64_t precursors = 0;
};

// Writes a simulated liquid chromatography run with ion mobility to a new directory. The same options give
// the same analysis, whatever the number of threads. Memory is bounded, however many frames there are. Raises
// std::exception-derived errors.
Summary simulate(const Options& options);

}  // namespace simulator
