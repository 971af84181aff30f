#pragma once

#include "kovadata/kvr.h"
#include "kovarun/run/reader.h"

namespace lumo::run {

// What is known of an analysis without reading a frame, but for the key of its calibration state.
kvr_info analysisFacts(Reader& reader, AnalysisFormat format);

}  // namespace lumo::run
