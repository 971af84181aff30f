#pragma once

#include <string>

#include "analysis_format.h"

namespace kova_tool {

// What to try instead when no analysis of this format could be opened at a path; empty when there is nothing
// to say.
std::string openHint(const std::string& path, AnalysisFormat wanted);

}  // namespace kova_tool
