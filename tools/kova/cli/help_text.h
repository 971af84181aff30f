#pragma once

#include <string>

namespace kova_tool {

// What a verb says about itself below its options. The manual pages are made from the same texts.
struct HelpText {
    const char* notes;     // paragraphs
    const char* examples;  // lines, indented by two
    const char* failure;   // what exit status 1 means
};

// The notes, then the sections "Examples:" and "Exit status:".
std::string footerOf(const HelpText& help);

}  // namespace kova_tool
