#pragma once

#include <cmath>
#include <cstdio>
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
    const std::uint8_t kind = source.take<std::uint8_t>();
    switch (kind % 16) {
        case 0:
            return "NULL";
        case 1:
            return std::to_string(source.take<std::int64_t>());
        case 2:
            return sqlNumber(source.take<double>());
        case 3:
            return "'" + std::to_string(source.take<std::int32_t>()) + "x'";
        case 4:
            return "x'00FF'";
        case 5:
            return std::to_string(source.take<std::uint32_t>());
        case 6:
            return "9e999";
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
