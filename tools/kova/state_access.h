#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "analysis_format.h"

namespace kova_tool {

// What the library's public functions cannot express: opening with any re-calibrated state, and telling which
// one is in use. kova itself uses the public functions only and hands command lines that need more over to
// kova-states, the same program linked with the inside of the library.

// Runs kova-states instead of this program if the command line needs it. Returns if it does not, if this is
// kova-states, or if there is no such program beside this one.
void handOver(char** argv);

// Handle of an analysis opened with the state that a mode chooses ("off", "first[:SOURCE]", "last[:SOURCE]",
// "lastIncomplete:SOURCE", "uuid:KEY"); 0, and the library's last error, on failure. Throws UsageError for
// anything else, and Failure in a program that cannot choose.
std::uint64_t openWithState(AnalysisFormat format, const std::string& directory, const std::string& state);

// Key of the re-calibrated state in use, if one is. Throws Failure in a program that cannot tell.
std::optional<std::string> keyOfStateInUse(AnalysisFormat format, std::uint64_t handle);

}  // namespace kova_tool
