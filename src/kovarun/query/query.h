#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>

#include "kovadata/kvr.h"
#include "kovarun/run/frame_catalog.h"
#include "kovarun/run/run.h"

namespace lumo::run {

// A closed range of values, whole by default. NaN is in no range, not even in the whole one; ask isWhole()
// first where values may be missing.
struct Range {
    static constexpr double kInfinity = std::numeric_limits<double>::infinity();

    double low = -kInfinity;
    double high = kInfinity;

    bool contains(double value) const { return value >= low && value <= high; }
    bool isWhole() const { return low == -kInfinity && high == kInfinity; }
};

// Raises std::invalid_argument unless it is a range; `what` says of what, for the text.
Range checkedRange(const kvr_range& range, const char* what);

// Calibrations that frames are converted by.
struct Calibrations {
    bool masses = false;
    bool mobilities = false;

    Calibrations operator|(const Calibrations& other) const {
        return {.masses = masses || other.masses, .mobilities = mobilities || other.mobilities};
    }
};

struct LookedUpFrames;

// A query as a stream works on it: the frames are chosen, while the box of m/z, 1/K0 and scans is applied
// frame by frame, since what it means in indices depends on the frame's calibration.
struct Query {
    FrameEntries frames;
    std::optional<Range> mz;
    std::optional<Range> oneOverK0;
    std::uint32_t scanBegin = 0;
    std::uint32_t scanEnd = UINT32_MAX;  // scan after the last; beyond what a frame has is no failure
    Intensities intensities = Intensities::Normalized;
    Calibrations wanted;  // of every frame: by the ranges above, and by what is made of the peaks
    // What is known of the first frames already, for whoever announces them; see FrameSource.
    std::shared_ptr<LookedUpFrames> lookedUp;
};

// Checks a query and chooses its frames. Raises std::invalid_argument for one that makes no sense.
Query prepareQuery(Run& run, const kvr_query* query);

}  // namespace lumo::run
