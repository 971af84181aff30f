#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "kova-simulate/arrival.h"

namespace simulator {

// What all frames of a kind have in common.
struct FrameRecipe {
    double yield = 0.0;       // ions per unit of intensity
    double background = 0.0;  // peaks of each frame that belong to no arrival
};

// The recipe with which frames like these have `peaks` peaks on average, four fifths of them signal. One
// yield for the whole run keeps intensities comparable from frame to frame. It is bounded: what the arrivals
// cannot give is background.
FrameRecipe findRecipe(std::span<const std::vector<Arrival>> frames, std::uint32_t peaks, double scanWidth);

// Expected number of ions of an arrival. The trap holds only so many of a kind.
double expectedIons(const Arrival& arrival, double yield);

}  // namespace simulator
