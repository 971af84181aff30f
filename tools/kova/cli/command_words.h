#pragma once

#include "common/command_line.h"

namespace kova_tool {

// Throws UsageError for a verb and for options that do not exist. The parser's own texts speak of subcommands
// and unexpected arguments, or of what else is missing.
void checkWords(const kova_tool_common::ParserFacts& program, int argc, char** argv);

}  // namespace kova_tool
