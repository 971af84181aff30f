#pragma once

#include <deque>
#include <span>
#include <string>
#include <vector>

#include "kova/cli/command_options.h"
#include "kova/cli/python_module.h"

namespace kova_tool {

// What the values of an option are held against before Python starts, so that mistakes are reported in the
// words of this command.
enum class Takes { Anything, Numbers, Range, CountFromOne, Nothing };

// An option of a verb whose work a Python program does.
struct PassedOption {
    const char* names;
    const char* type;  // of a value in the help; {a,b} are all that it takes
    const char* text;
    Takes takes = Takes::Anything;
    int values = 1;
};

struct PythonOptions : CommonOptions {
    struct Given {
        PassedOption option;
        std::vector<std::string> values = {};
        bool isThere = false;  // without values
    };

    std::vector<std::string> directories;  // of a verb that takes several analyses
    std::deque<Given> given;               // stay where they are: the parser keeps their addresses
};

void addPassed(const Parser& verb, PythonOptions& options, std::span<const PassedOption> passed);
void addAnalyses(const Parser& verb, PythonOptions& options, const char* text);

// Replaces this program by the Python program. Options are passed on in the words of the command line, so
// that none changes on the way, after `arguments` and before the analyses.
[[noreturn]] void runPythonVerb(const PythonProgram& program, std::vector<std::string> arguments,
                                const PythonOptions& options);

}  // namespace kova_tool
