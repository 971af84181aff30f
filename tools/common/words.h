#pragma once

#include <string>
#include <vector>

namespace kova_tool_common {

std::vector<std::string> split(const std::string& text, char separator);

template <class Words>
std::string joined(const Words& words, const char* separator) {
    std::string text;
    for (const std::string& word : words) {
        text += &word == &*words.begin() ? "" : separator;
        text += word;
    }
    return text;
}

}  // namespace kova_tool_common
