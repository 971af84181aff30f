#include <string>

#include "kova/cli/command_options.h"
#include "kova/completions/scripts.h"
#include "kova/failure.h"
#include "kova/output/output_buffer.h"
#include "kova/verbs/verbs.h"

namespace kova_tool {
namespace {

constexpr HelpText kCompletionsHelp = {
    R"(An installed kova needs this only where the shell does not look: the scripts are installed with it.
)",
    R"(  source <(kova completions bash)
  kova completions zsh > ~/.zfunc/_kova
  kova completions fish > ~/.config/fish/completions/kova.fish
)",
    "the script cannot be written"};

struct CompletionsOptions {
    std::string shell;
};

std::string scriptFor(const std::string& shell, const ProgramWords& words) {
    if (shell == "zsh") {
        return zshCompletion(words);
    }
    return shell == "fish" ? fishCompletion(words) : bashCompletion(words);
}

}  // namespace

void addCompletions(const Parser& app, Action& action) {
    Verb<CompletionsOptions> verb(app, action, "completions", "Prints a script that completes command lines",
                                  kCompletionsHelp);
    verb.arguments()
        .option("SHELL", verb.options().shell, "shell to write it for")
        .required()
        .oneOf({"bash", "zsh", "fish"});
    verb.runs([app](const CompletionsOptions& options) {
        const kova_tool_common::ParserFacts program = app.facts();
        OutputBuffer out;
        out << scriptFor(options.shell, {wordsOf(program), wordsOfVerbs(program)});
        out.flush();
        return kExitOk;
    });
}

}  // namespace kova_tool
