#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "common/usage_error.h"

namespace kova_tool {

// Exit statuses of every verb.
enum ExitStatus : int { kExitOk = 0, kExitFailure = 1, kExitUsage = 2 };

// Ends the verb with status 1. The text is printed as it is; the hint, if any, says on a line of its own what
// the user may have meant.
class Failure : public std::runtime_error {
public:
    explicit Failure(const std::string& text, std::string hintText = {})
        : std::runtime_error(text), hint(std::move(hintText)) {}

    std::string hint;
};

// The command line asks for something that makes no sense; ends with status 2 and a pointer to --help.
using kova_tool_common::UsageError;

}  // namespace kova_tool
