#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace lumo::sys {

// Index of the first byte at which `text` stops being well-formed UTF-8 (the offending byte itself: a
// continuation byte that is missing or wrong, or the lead byte of an overlong form, a surrogate or a value
// above U+10FFFF); text.size() when it ends inside a sequence; npos when all of it is well-formed.
// Independent of any locale.
//
// Paths are checked because the C interface promises UTF-8, and what is not would reach the file system and
// error texts as bytes that nobody can print.
std::size_t findInvalidUtf8(std::string_view text);

// The text with U+FFFD in place of what is not well-formed.
std::string repairedUtf8(std::string text);

}  // namespace lumo::sys
