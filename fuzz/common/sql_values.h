#pragma once

#include <cmath>
#include <cstdio>
#include <iterator>
#include <string>

#include "common/byte_source.h"

namespace fuzz {

inline std::string sqlNumber(double value) {
    if (std::isnan(value)) {
        return "NULL";
    }
    if (std::isinf(value)) {
        return value > 0 ? "9e999" : "-9e999";
    }
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value);
    return text;
}

// A value of any type as SQL has them; `usual` makes most of them, of a byte.
std::string takeSqlValue(ByteSource& source, auto&& usual) {
    static const char* const kOdd[] = {"NULL",
                                       "x'00FF'",
                                       "'many'",
                                       "9e999",
                                       "-9e999",
                                       "4294967295",
                                       "4294967296",
                                       "-9223372036854775808",
                                       "9223372036854775807"};
    const std::uint8_t kind = source.take<std::uint8_t>();
    switch (kind % 16) {
        case 0:
        case 1:
            return kOdd[source.take<std::uint8_t>() % std::size(kOdd)];
        case 2:
            return std::to_string(source.take<std::int64_t>());
        case 3:
            return sqlNumber(source.take<double>());
        case 4:
            return std::to_string(source.take<std::uint32_t>());
        default:
            return usual(kind);
    }
}

// So many of them, with commas in between.
std::string takeSqlValues(ByteSource& source, std::uint32_t count, auto&& usual) {
    std::string values;
    for (std::uint32_t i = 0; i < count; ++i) {
        values += (i == 0 ? "" : ", ") + takeSqlValue(source, usual);
    }
    return values;
}

}  // namespace fuzz
