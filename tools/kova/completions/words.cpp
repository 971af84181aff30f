#include "kova/completions/words.h"

#include <algorithm>
#include <iterator>

#include "common/words.h"

// The words of the parser, taken from the parser itself: a new verb or option is completed without anything
// to keep in step.
namespace kova_tool {

using kova_tool_common::OptionFacts;
using kova_tool_common::ParserFacts;

namespace {

// The help shows the choices of a value as {a,b,c}.
std::vector<std::string> choicesIn(const std::string& typeName) {
    const std::size_t open = typeName.find('{');
    const std::size_t close = typeName.rfind('}');
    if (open == std::string::npos || close == std::string::npos) {
        return {};
    }
    return kova_tool_common::split(typeName.substr(open + 1, close - open - 1), ',');
}

WordPlace placeOf(const OptionFacts& option, const std::string& name) {
    WordPlace place;
    place.name = name;
    place.choices = choicesIn(option.type);
    place.repeats = option.repeats;
    if (!place.choices.empty()) {
        place.kind = WordKind::Choices;
    } else if (name == "FILE") {
        place.kind = WordKind::Files;
    } else if (name == "ANALYSIS") {
        place.kind = WordKind::Directories;
    }
    return place;
}

OptionWords optionOf(const OptionFacts& option) {
    OptionWords words = {option.names, option.description, option.values, {}};
    std::ranges::replace(words.description, '\n', ' ');
    if (option.values > 0) {
        words.value = placeOf(option, option.type);
    }
    return words;
}

}  // namespace

std::string joined(const std::vector<std::string>& words) { return kova_tool_common::joined(words, " "); }

VerbWords wordsOf(const ParserFacts& parser) {
    VerbWords words = {parser.name, parser.description, {}, {}};
    for (const OptionFacts& option : parser.options) {
        if (option.isArgument) {
            words.places.push_back(placeOf(option, option.name));
        } else if (!option.isHidden) {
            words.options.push_back(optionOf(option));
        }
    }
    return words;
}

std::vector<VerbWords> wordsOfVerbs(const ParserFacts& program) {
    std::vector<VerbWords> verbs;
    std::ranges::transform(program.verbs, std::back_inserter(verbs), wordsOf);
    return verbs;
}

}  // namespace kova_tool
