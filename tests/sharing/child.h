#pragma once

#include <functional>
#include <string>

namespace sharing {

// Runs in a forked child, which may give up what it can do; its text comes back, or how it ended.
std::string inChild(const std::function<std::string()>& function);

}  // namespace sharing
