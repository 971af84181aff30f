#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <spdlog/common.h>

#include "logging/level.h"

namespace lumo::logging {

// What decides where messages go: sinks, and levels by dotted name prefix. The longest matching prefix
// counts; the empty prefix is the root.
struct Configuration {
    std::map<std::string, Level, std::less<>> levels;
    std::vector<spdlog::sink_ptr> sinks;
};

}  // namespace lumo::logging
