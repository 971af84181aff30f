#include "kova/cli/number_input.h"

#include <charconv>
#include <iostream>
#include <optional>
#include <system_error>

#include "kova/failure.h"

// Numbers of the user are read without the locale, so a command means the same everywhere.
namespace kova_tool {
std::optional<double> parseNumber(const std::string& text) {
    const char* const begin = text.data() + (text.starts_with('+') ? 1 : 0);
    const char* const end = text.data() + text.size();
    double number = 0.0;
    const auto [parsed, error] = std::from_chars(begin, end, number);
    return error == std::errc() && parsed == end ? std::optional(number) : std::nullopt;
}

std::vector<double> numbersOf(std::span<const std::string> texts) {
    std::vector<double> numbers;
    for (const std::string& text : texts) {
        const std::optional<double> number = parseNumber(text);
        if (!number) {
            throw UsageError("'" + text + "' is not a number");
        }
        numbers.push_back(*number);
    }
    return numbers;
}

std::vector<double> readNumbers() {
    std::vector<double> numbers;
    std::ios::sync_with_stdio(false);
    for (std::string text; std::cin >> text;) {
        const std::optional<double> number = parseNumber(text);
        if (!number) {
            throw Failure("standard input: value " + std::to_string(numbers.size() + 1) + " is '" + text +
                          "', which is not a number");
        }
        numbers.push_back(*number);
    }
    return numbers;
}

}  // namespace kova_tool
