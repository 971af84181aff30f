#pragma once

#include <array>

#include <spdlog/common.h>

#include "diag/assert.h"
#include "logging/level.h"

namespace lumo::logging {

// Between our levels and those of the back end, which no other header of this folder needs to know.
inline spdlog::level::level_enum toSpdlog(Level level) {
    constexpr std::array levels = {spdlog::level::trace, spdlog::level::debug, spdlog::level::info,
                                   spdlog::level::warn,  spdlog::level::err,   spdlog::level::critical,
                                   spdlog::level::off};
    LUMO_ASSERT(level >= Level::Trace && level <= Level::Off);
    return levels[static_cast<std::size_t>(level)];
}

// The back end has the same seven levels in the same order.
inline Level fromSpdlog(spdlog::level::level_enum level) { return static_cast<Level>(level); }

}  // namespace lumo::logging
