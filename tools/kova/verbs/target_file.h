#pragma once

#include <kovadata/kvr.h>

#include <string>
#include <vector>

namespace kova_tool {

// The targets of a CSV file: columns mz_low and mz_high, or mz and ppm; optionally mobility_low,
// mobility_high, time_low and time_high, whose cells may be empty. Other columns are ignored. Throws Failure,
// which names file and line.
std::vector<kvr_target> readTargets(const std::string& path);

}  // namespace kova_tool
