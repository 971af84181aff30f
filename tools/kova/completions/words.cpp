#include "kova/completions/words.h"

#include <CLI/CLI.hpp>
#include <algorithm>

// The words of the parser, taken from the parser itself: a new verb or option is completed without anything
// to keep in step.
namespace kova_tool {
namespace {

// The help shows the choices of a value as {a,b,c}.
std::vector<std::string> choicesIn(const std::string& typeName) {
    const std::size_t open = typeName.find('{');
    const std::size_t close = typeName.rfind('}');
    if (open == std::string::npos || close == std::string::npos) {
        return {};
    }
    return CLI::detail::split(typeName.substr(open + 1, close - open - 1), ',');
}

WordPlace placeOf(const CLI::Option& option, const std::string& name) {
    WordPlace place;
    place.name = name;
    place.choices = choicesIn(option.get_type_name());
    place.repeats = option.get_expected_max() >= CLI::detail::expected_max_vector_size;
    if (!place.choices.empty()) {
        place.kind = WordKind::Choices;
    } else if (name == "FILE") {
        place.kind = WordKind::Files;
    } else if (name == "ANALYSIS") {
        place.kind = WordKind::Directories;
    }
    return place;
}

OptionWords optionOf(const CLI::Option& option) {
    OptionWords words;
    for (const std::string& name : option.get_snames()) {
        words.names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        words.names.push_back("--" + name);
    }
    words.description = option.get_description();
    std::ranges::replace(words.description, '\n', ' ');
    if (option.get_type_size() > 0) {
        words.value = placeOf(option, option.get_type_name());
        words.values = words.value.repeats ? 1 : option.get_expected_max();
    }
    return words;
}

}  // namespace

std::string joined(const std::vector<std::string>& words) { return CLI::detail::join(words, " "); }

VerbWords wordsOf(const CLI::App& parser) {
    VerbWords words;
    words.name = parser.get_name();
    words.description = parser.get_description();
    for (const CLI::Option* option : parser.get_options()) {
        if (option->get_positional()) {
            words.places.push_back(placeOf(*option, option->get_name(true)));
        } else if (!option->get_group().empty()) {
            words.options.push_back(optionOf(*option));
        }
    }
    return words;
}

std::vector<VerbWords> wordsOfVerbs(const CLI::App& parser) {
    std::vector<VerbWords> verbs;
    for (const CLI::App* verb : parser.get_subcommands([](const CLI::App*) { return true; })) {
        verbs.push_back(wordsOf(*verb));
    }
    return verbs;
}

}  // namespace kova_tool
