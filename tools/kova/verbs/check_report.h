#pragma once

#include "kova/cli/command_options.h"
#include "kova/run/run.h"
#include "kova/verbs/check_tally.h"

namespace kova_tool {

void writeCheckReport(const CommonOptions& options, RunKind kind, const CheckTally& tally);

}  // namespace kova_tool
