#pragma once

#include "kovadata/kvr.h"
#include "kovarun/query/query.h"
#include "kovarun/reductions/reductions.h"

namespace lumo::run {

// Completes an axis whose bounds are both NaN with the range of the query, else with that of the frames:
// their times, or what the first frame with a calibration can hold. Raises std::invalid_argument for an axis
// that makes no sense, and std::runtime_error where there is nothing to take a range from.
kvr_axis completeAxis(Run& run, const Query& query, const kvr_axis& axis);

// The edges of a complete axis: ascending, one more than cells, of equal widths as kvr_axis promises.
GridAxis toGridAxis(const kvr_axis& axis);

}  // namespace lumo::run
