#pragma once

#include "analysis_format.h"
#include "check_tally.h"
#include "command_options.h"

namespace kova_tool {

void writeCheckReport(const CommonOptions& options, AnalysisFormat format, const CheckTally& tally);

}  // namespace kova_tool
