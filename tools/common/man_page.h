#pragma once

#include <string>

#include "common/command_line.h"

namespace kova_tool_common {

// What a program's pages have in common.
struct ManPageSource {
    std::string program;
    std::string version;
};

// A hidden option of a program's parser: `--man-pages DIRECTORY` writes its page and those of its verbs, in
// roff, and exits. A footer is understood as paragraphs and as sections such as "Examples:", whose lines are
// indented.
void addManPages(const Parser& parser, const ManPageSource& source);

}  // namespace kova_tool_common
