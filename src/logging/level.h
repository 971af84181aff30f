#pragma once

#include <string_view>

namespace lumo::logging {

enum class Level : int { Trace = 0, Debug = 1, Info = 2, Warn = 3, Error = 4, Fatal = 5, Off = 6 };

constexpr std::string_view levelName(Level level) {
    constexpr std::string_view names[] = {"TRACE", "DEBUG", "INFO", "WARN", "ERROR", "FATAL", "OFF"};
    return names[static_cast<int>(level)];
}

}  // namespace lumo::logging
