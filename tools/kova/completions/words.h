#pragma once

#include <string>
#include <vector>

#include "common/command_line.h"

namespace kova_tool {

// What can be completed after an option or as an argument.
enum class WordKind { Anything, Choices, Files, Directories };

struct WordPlace {
    WordKind kind = WordKind::Anything;
    std::string name;                  // of the value in the help
    std::vector<std::string> choices;  // of kind choices
    bool repeats = false;
};

struct OptionWords {
    std::vector<std::string> names;  // with their dashes
    std::string description;
    int values = 0;
    WordPlace value;
};

struct VerbWords {
    std::string name;
    std::string description;
    std::vector<OptionWords> options;
    std::vector<WordPlace> places;
};

// With blanks between them.
std::string joined(const std::vector<std::string>& words);

// The words that a parser knows, without its hidden options; and those of its verbs.
VerbWords wordsOf(const kova_tool_common::ParserFacts& parser);
std::vector<VerbWords> wordsOfVerbs(const kova_tool_common::ParserFacts& program);

}  // namespace kova_tool
