#pragma once

#include <string>
#include <string_view>

namespace lumo::sqlite {

// The text as an SQL literal: between single quotes, with those inside doubled. For texts that come from
// callers or files.
inline std::string sqlLiteral(std::string_view text) {
    std::string literal = "'";
    for (const char c : text) {
        literal.append(c == '\'' ? 2 : 1, c);
    }
    return literal + "'";
}

}  // namespace lumo::sqlite
