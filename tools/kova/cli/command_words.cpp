#include "kova/cli/command_words.h"

#include <algorithm>
#include <string>

#include "kova/failure.h"

// Looks at the words before the parser does, for the two mistakes that are most common: a verb or an option
// that does not exist. The parser would report them in its own terms, or report something else first.
namespace kova_tool {

using kova_tool_common::OptionFacts;
using kova_tool_common::ParserFacts;

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

// An option of which only the beginning was typed, or that has a few letters too many.
std::string suggestion(const ParserFacts& parser, const std::string& name) {
    for (const OptionFacts& option : parser.options) {
        for (const std::string& known : option.names) {
            if (name.size() > 3 && known.starts_with("--") &&
                (known.starts_with(name) || name.starts_with(known))) {
                return "; is it " + known + "?";
            }
        }
    }
    return "";
}

void checkOption(const ParserFacts& parser, const std::string& name) {
    const bool isKnown = std::ranges::any_of(parser.options, [&](const OptionFacts& option) {
        return std::ranges::find(option.names, name) != option.names.end();
    });
    if (!isKnown) {
        throw UsageError("unknown option '" + name + "'" + suggestion(parser, name));
    }
}

}  // namespace

void checkWords(const ParserFacts& program, int argc, char** argv) {
    if (argc < 2) {
        throw UsageError("a verb is required");
    }
    const std::string first = argv[1];
    if (first.starts_with('-')) {
        checkOption(program, optionName(first));
        return;
    }
    const auto verb = std::ranges::find(program.verbs, first, &ParserFacts::name);
    if (verb == program.verbs.end()) {
        throw UsageError("unknown verb '" + first + "'");
    }
    for (int i = 2; i < argc && argv[i] != std::string("--"); ++i) {
        if (const std::string name = optionName(argv[i]); !name.empty()) {
            checkOption(*verb, name);
        }
    }
}

}  // namespace kova_tool
