#pragma once

#include <string_view>

namespace kova_tool {

// A line on standard error, for what went wrong.
void tell(std::string_view text);

}  // namespace kova_tool
