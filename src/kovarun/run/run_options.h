#pragma once

#include <cstdint>
#include <optional>

#include "calibration-state/calibration_state_selector.h"
#include "kovadata/kvr.h"

namespace lumo::run {

constexpr unsigned kMostThreads = 1024;

enum class Intensities { Normalized, Raw };

// How a run was opened; see kvr_options.
struct RunOptions {
    std::optional<io::calibration::CalibrationStateSelector> selector;
    bool allowsFallback = true;
    Intensities intensities = Intensities::Normalized;
    unsigned threads = 1;
    std::uint64_t memoryBudget = 0;
};

// Raises std::invalid_argument for values that mean nothing, and what makes a selector impossible.
RunOptions checkedOptions(const kvr_options* options);

// The choice of a call, which defaults to the run's.
Intensities checkedIntensities(std::uint32_t value, Intensities ofRun);

}  // namespace lumo::run
