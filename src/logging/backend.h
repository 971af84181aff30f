#pragma once

#include <map>
#include <string>
#include <vector>

#include <spdlog/common.h>

#include "logging/level.h"

namespace lumo::logging {

// The state of logging: which loggers there are, and what applies to them. Nothing is read or opened when the library is
// loaded; the first logger that is asked for reads the configuration of the environment.

// What decides where messages go: sinks, and levels by dotted name prefix. The longest matching prefix
// counts; the empty prefix is the root.
struct Configuration {
    std::map<std::string, Level, std::less<>> levels;
    std::vector<spdlog::sink_ptr> sinks;
};

// Applies to every logger, existing or still to come, in place of what the environment asks for. An empty configuration
// switches logging off.
void configure(Configuration configuration);

}  // namespace lumo::logging
