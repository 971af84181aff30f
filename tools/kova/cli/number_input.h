#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kova_tool {

// The number that a whole text is, if it is one.
std::optional<double> parseNumber(const std::string& text);

// Numbers of the command line. Throws UsageError for what is none.
std::vector<double> numbersOf(std::span<const std::string> texts);

// Numbers of standard input, with blanks or line ends between them. Throws Failure for what is none.
std::vector<double> readNumbers();

}  // namespace kova_tool
