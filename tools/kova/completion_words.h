#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace kova_tool {

// What can be completed behind an option or in the place of an argument.
enum class WordKind { anything, choices, files, directories };

struct WordPlace {
    WordKind kind = WordKind::anything;
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
VerbWords wordsOf(const CLI::App& parser);
std::vector<VerbWords> wordsOfVerbs(const CLI::App& parser);

}  // namespace kova_tool
