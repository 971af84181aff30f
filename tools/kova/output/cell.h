#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>

namespace kova_tool {

// One value of a row or of an object; empty where there is none.
using Cell = std::variant<std::monostate, std::int64_t, std::uint64_t, double, float, std::string_view>;

// A text must outlive the cell, which only refers to it.
template <class Value>
Cell cell(const std::optional<Value>& value) {
    if (!value) {
        return {};
    }
    if constexpr (std::unsigned_integral<Value>) {
        return std::uint64_t{*value};
    } else if constexpr (std::signed_integral<Value>) {
        return std::int64_t{*value};
    } else if constexpr (std::floating_point<Value>) {
        return *value;
    } else {
        return std::string_view(*value);
    }
}

}  // namespace kova_tool
