#pragma once

namespace CLI {
class App;
}

namespace kova_tool {

// The parser's own texts for these speak of subcommands and unexpected arguments, or of what else is missing.
// Throws UsageError for a verb and for options that there are not.
void checkWords(const CLI::App& app, int argc, char** argv);

}  // namespace kova_tool
