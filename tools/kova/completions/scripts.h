#pragma once

#include <string>
#include <vector>

#include "kova/completions/words.h"

namespace kova_tool {

// What can be completed: the program's own options and its verbs.
struct ProgramWords {
    VerbWords program;
    std::vector<VerbWords> verbs;
};

// Whole scripts, as they are installed and as `kova completions` prints them.
std::string bashCompletion(const ProgramWords& words);
std::string zshCompletion(const ProgramWords& words);
std::string fishCompletion(const ProgramWords& words);

}  // namespace kova_tool
