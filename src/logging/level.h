#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "diag/assert.h"

namespace lumo::logging {

// From the least to the most important one; `Off` is above all messages, and no message has it. The order is
// that of the back end (spdlog_level.h), and the names are those of the configuration.
enum class Level : int { Trace = 0, Debug = 1, Info = 2, Warn = 3, Error = 4, Fatal = 5, Off = 6 };

inline constexpr int kLevels = 7;

// The name as it stands in the log and, in any case of letters, in configurations.
constexpr std::string_view levelName(Level level) {
    constexpr std::string_view names[kLevels] = {"TRACE", "DEBUG", "INFO", "WARN", "ERROR", "FATAL", "OFF"};
    LUMO_ASSERT(level >= Level::Trace && level <= Level::Off);
    return names[static_cast<int>(level)];
}

// In small or capital letters; nothing for any other text. Compares letter by letter and ignores the locale,
// in which an "i" may have another capital.
constexpr std::optional<Level> levelFromName(std::string_view text) {
    constexpr auto sameLetter = [](char name, char given) {
        return given == name || given == name + ('a' - 'A');
    };
    for (int level = 0; level < kLevels; ++level) {
        const std::string_view name = levelName(static_cast<Level>(level));
        bool same = name.size() == text.size();
        for (std::size_t i = 0; same && i < name.size(); ++i) {
            same = sameLetter(name[i], text[i]);
        }
        if (same) {
            return static_cast<Level>(level);
        }
    }
    return std::nullopt;
}

// All of them, to be told what to choose from: "trace, debug, ... or off".
inline std::string levelNames() {
    std::string names;
    for (int level = 0; level < kLevels; ++level) {
        names += level == 0 ? "" : level + 1 < kLevels ? ", " : " or ";
        for (const char letter : levelName(static_cast<Level>(level))) {
            names += static_cast<char>(letter + ('a' - 'A'));
        }
    }
    return names;
}

}  // namespace lumo::logging
