#pragma once

#include "kovadata/kvr.h"
#include "kovarun/query/query.h"
#include "kovarun/reductions/reductions.h"

namespace lumo::run {

// An axis with its range: as given, else that of the query, else that of the frames: their times, or what the
// first frame with a calibration can hold. Raises std::invalid_argument for an axis that is none.
kvr_axis completeAxis(Run& run, const Query& query, const kvr_axis& axis);

GridAxis toGridAxis(const kvr_axis& axis);

}  // namespace lumo::run
