#pragma once

#include "kovadata/kvr.h"
#include "kovarun/query/query.h"
#include "kovarun/reductions/reductions.h"

namespace lumo::run {

// Completes axes whose bounds are both NaN with the range of the query, else with that of the frames: their
// times, or what the first frame with a calibration can hold. The query then wants the calibrations that the
// axes need, and knows what was looked up for them. Raises std::invalid_argument for an axis that makes no
// sense, and std::runtime_error where there is nothing to take a range from.
void completeAxes(Run& run, Query& query, kvr_axis& x, kvr_axis& y);

// The edges of a complete axis: ascending, one more than cells, of equal widths as kvr_axis promises.
GridAxis toGridAxis(const kvr_axis& axis);

}  // namespace lumo::run
