#pragma once

#include <string>
#include <vector>

namespace kova_tool {

// What a verb hands its arguments to.
struct PythonProgram {
    std::string module;               // run by `python3 -m`
    std::vector<std::string> needed;  // modules that must be there
    std::string packages;             // what to install if one is not
    std::string purpose;              // what needs Python, in the plural
};

// Replaces this program by `python3 -m module arguments...`, so that signals and the exit status are its own.
// SIGINT is blocked until the module lets it through. Throws Failure with what to install if the interpreter
// or one of the modules it needs is not there.
[[noreturn]] void runPythonModule(const PythonProgram& program, const std::vector<std::string>& arguments);

}  // namespace kova_tool
