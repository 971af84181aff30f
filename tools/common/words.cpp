#include "common/words.h"

#include <sstream>

namespace kova_tool_common {

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> words;
    std::istringstream input(text);
    for (std::string word; std::getline(input, word, separator);) {
        words.push_back(word);
    }
    return words;
}

}  // namespace kova_tool_common
