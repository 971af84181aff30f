#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace kova_tool_common {

// What a program's pages have in common.
struct ManPageSource {
    std::string program;
    std::string version;
};

// The manual page, in roff, of a parser or of one of its verbs. A footer is understood as paragraphs and as
// sections such as "Examples:", whose lines are indented.
std::string manPage(const CLI::App& parser, const ManPageSource& source);

// A hidden option of a program's parser: `--man-pages DIRECTORY` writes its page and those of its verbs, and
// exits.
void addManPages(CLI::App& parser, const ManPageSource& source);

}  // namespace kova_tool_common
