#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "logging/configuration_error.h"
#include "logging/level.h"

namespace lumo::logging {

enum class SinkType { Console, StandardOutput, StandardError, RollingFile };

// What happens to a message when the queue of an asynchronous sink is full: the caller waits for room, or the
// message is dropped and counted, and the count is written when there is room again.
enum class Overflow { Block, Drop };

struct SinkSettings {
    SinkType type = SinkType::StandardError;
    Level level = Level::Trace;
    std::string file;
    std::size_t maxSize = std::size_t{10} << 20;
    std::size_t maxFiles = 5;
    bool async = false;
    std::size_t queue = 8192;
    Overflow overflow = Overflow::Block;
};

// Contents of a configuration file: levels by dotted prefix, the root being the empty one, and sinks. For
// instance
//
//     [levels]
//     root = info
//     lumo.io = debug
//
//     [sink.file]
//     type = rolling-file
//     file = ~/kovadata-{pid}.log
//     async = yes
struct Settings {
    std::map<std::string, Level, std::less<>> levels;
    std::vector<SinkSettings> sinks;
};

// Understanding a text and acting on it are two steps (sink_factory.h does the second), so a configuration
// with a mistake opens no file at all.
//
// Raises ConfigurationError, which names what is wrong, for anything it does not know. Without a sink
// everything goes to standard error; the root level is INFO unless the text says otherwise.
Settings parseSettings(const std::string& text);

}  // namespace lumo::logging
