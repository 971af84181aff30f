#pragma once

#include <cstdint>
#include <optional>

#include "calibration-state/calibration_state_selector.h"
#include "kovadata/kvr.h"

namespace lumo::run {

// No more are started, whatever a caller asks for.
constexpr unsigned kMostThreads = 1024;

// Normalised as the analysis does by default, or as they were measured.
enum class Intensities { Normalized, Raw };

// How a run was opened, checked and completed; see kvr_options for what each means.
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
