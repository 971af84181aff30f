#pragma once

#include <chrono>
#include <string>

namespace lumo::sys {

// "2024-02-29T23:59:59.000001Z": UTC, microseconds. Computed without the C library's time zone functions,
// whose lock might be held by a thread that does not exist in a forked child.
std::string iso8601(std::chrono::system_clock::time_point time);

}  // namespace lumo::sys
