#pragma once

#include <cstddef>
#include <optional>

namespace kova_tool_common {

// Characters in a line of the terminal that a descriptor leads to; none if it is no terminal or does not say.
std::optional<std::size_t> terminalWidth(int descriptor);

}  // namespace kova_tool_common
