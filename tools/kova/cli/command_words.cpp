#include "kova/cli/command_words.h"

#include <CLI/CLI.hpp>
#include <string>

#include "kova/failure.h"

// Looks at the words before the parser does, for the two mistakes that are most common: a verb or an option
// that does not exist. The parser would report them in its own terms, or report something else first.
namespace kova_tool {
namespace {

// The option's name, without a value that is attached to it: "--csv", "-o". Negative numbers are values.
std::string optionName(const std::string& word) {
    if (word.starts_with("--")) {
        return word.substr(0, word.find('='));
    }
    const bool isOption =
        word.size() > 1 && word[0] == '-' && std::isalpha(static_cast<unsigned char>(word[1])) != 0;
    return isOption ? word.substr(0, 2) : "";
}

bool hasOption(const CLI::App& parser, const std::string& name) {
    return parser.get_option_no_throw(name) != nullptr;
}

// An option of which only the beginning was typed, or that has a few letters too many.
std::string suggestion(const CLI::App& parser, const std::string& name) {
    for (const CLI::Option* option : parser.get_options()) {
        for (const std::string& longName : option->get_lnames()) {
            const std::string known = "--" + longName;
            if (name.size() > 3 && (known.starts_with(name) || name.starts_with(known))) {
                return "; is it " + known + "?";
            }
        }
    }
    return "";
}

void checkOption(const CLI::App& parser, const std::string& name) {
    if (!hasOption(parser, name)) {
        throw UsageError("unknown option '" + name + "'" + suggestion(parser, name));
    }
}

}  // namespace

void checkWords(const CLI::App& app, int argc, char** argv) {
    if (argc < 2) {
        throw UsageError("a verb is required");
    }
    const std::string first = argv[1];
    if (first.starts_with('-')) {
        checkOption(app, optionName(first));
        return;
    }
    const auto verbs = app.get_subcommands([&](const CLI::App* verb) { return verb->get_name() == first; });
    if (verbs.empty()) {
        throw UsageError("unknown verb '" + first + "'");
    }
    for (int i = 2; i < argc && argv[i] != std::string("--"); ++i) {
        if (const std::string name = optionName(argv[i]); !name.empty()) {
            checkOption(*verbs.front(), name);
        }
    }
}

}  // namespace kova_tool
