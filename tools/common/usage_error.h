#pragma once

#include <stdexcept>

namespace kova_tool_common {

// The command line asks for something that makes no sense; the program ends with a pointer to --help.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace kova_tool_common
