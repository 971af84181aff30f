#include "sqlite/lexical_conversion.h"

#include <charconv>
#include <cmath>

#include <boost/lexical_cast/try_lexical_convert.hpp>

// The whole text must be the value, without blanks, and what is out of range is refused: metadata of a file
// are either what they should be or an error. Numbers with fractions are read without the locale; infinity
// and NaN are refused.
namespace lumo::sqlite {

template <class T>
std::optional<T> convertLexically(const std::string& text) {
    T value{};
    return boost::conversion::try_lexical_convert(text, value) ? std::optional<T>(value) : std::nullopt;
}

template <>
std::optional<bool> convertLexically<bool>(const std::string& text) {
    if (text == "0" || text == "1") {
        return text == "1";
    }
    return std::nullopt;
}

template <>
std::optional<double> convertLexically<double>(const std::string& text) {
    const char* const end = text.data() + text.size();
    const bool plus = text.starts_with('+') && !text.starts_with("+-");
    double value = 0.0;
    const auto [rest, error] = std::from_chars(text.data() + (plus ? 1 : 0), end, value);
    const bool whole = error == std::errc() && rest == end;
    return whole && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

template <>
std::optional<std::string> convertLexically<std::string>(const std::string& text) {
    return text;
}

template std::optional<std::int32_t> convertLexically<std::int32_t>(const std::string&);
template std::optional<std::uint32_t> convertLexically<std::uint32_t>(const std::string&);
template std::optional<std::int64_t> convertLexically<std::int64_t>(const std::string&);

}  // namespace lumo::sqlite
