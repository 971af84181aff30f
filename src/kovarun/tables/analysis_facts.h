#pragma once

#include "kovadata/kvr.h"
#include "kovarun/run/reader.h"

namespace lumo::run {

// What kvr_info states, except for the key of the calibration state, a text that must live as long as the
// run.
kvr_info analysisFacts(Reader& reader, AnalysisFormat format);

}  // namespace lumo::run
