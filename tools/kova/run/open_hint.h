#pragma once

#include <string>

namespace kova_tool {

// What to try instead when no analysis could be opened at a path; empty when there is nothing to say.
std::string openHint(const std::string& path);

}  // namespace kova_tool
