#pragma once

#include <string>
#include <vector>

namespace kova_tool {

// Replaces this program by `python3 -m module arguments...`, so that signals and the exit status are its own.
// SIGINT is blocked until the module lets it through. Throws Failure with what to install if the interpreter
// or one of the modules it needs is not there.
[[noreturn]] void runPythonModule(const std::string& module, const std::vector<std::string>& needed,
                                  const std::vector<std::string>& arguments);

}  // namespace kova_tool
