#pragma once

#include <optional>
#include <string>

namespace lumo::sys {

// The one place that reads the environment, so that one rule holds for every variable.
//
// Value of an environment variable that is set and not empty. A process that runs with more rights than its
// user (set-user-id and the like) sees none, since the user chooses them.
std::optional<std::string> environmentVariable(const char* name);

// Whether that is such a process.
bool runsWithElevatedRights();

}  // namespace lumo::sys
