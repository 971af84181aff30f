#pragma once

#include <string_view>

namespace kova_tool {

// Writes a line on standard error, for what went wrong. A progress bar makes room for it.
void tell(std::string_view text);

}  // namespace kova_tool
