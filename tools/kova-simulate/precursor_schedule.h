#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "kova-simulate/random.h"
#include "kova-simulate/sample.h"

namespace simulator {

// One precursor: an ion that is fragmented in its range of scans in several of the MS/MS frames after an MS1
// frame.
struct ScheduledPrecursor {
    const Ion* ion;
    double intensity;  // of the ion in the parent frame, relative
    std::uint32_t scanBegin;
    std::uint32_t scanEnd;
    std::vector<std::size_t> frames;  // which of the MS/MS frames, ascending
};

struct ScheduleRules {
    std::uint32_t scans;
    std::size_t msmsFrames;  // after each MS1 frame
    std::uint32_t rangeWidth;
    std::size_t maxPerFrame = 20;
    std::size_t minRepetitions = 3;
    std::size_t maxRepetitions = 8;
};

// Candidates are ions with their intensity in the parent frame, the strongest first. Each gets a free range
// of scans in three to eight frames, the same range in each; ranges in one frame do not overlap.
std::vector<ScheduledPrecursor> schedulePrecursors(std::span<const ElutingIon> candidates,
                                                   const ScheduleRules& rules, Random& random);

}  // namespace simulator
