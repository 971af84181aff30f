#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace lumo::sqlite {

// Strict conversion of a text to T (bool, std::int32_t, std::uint32_t, std::int64_t, double, std::string):
// the whole text must be the number, one leading sign allowed, no blanks; out of range fails. Flags are
// exactly "0" or "1", a double is a finite decimal number.
template <class T>
std::optional<T> convertLexically(const std::string& text);

template <>
std::optional<bool> convertLexically<bool>(const std::string& text);
template <>
std::optional<double> convertLexically<double>(const std::string& text);
template <>
std::optional<std::string> convertLexically<std::string>(const std::string& text);

}  // namespace lumo::sqlite
