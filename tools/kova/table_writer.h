#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "command_options.h"
#include "output_buffer.h"

namespace kova_tool {

struct Column {
    std::string_view name;     // in CSV and JSON
    std::string_view heading;  // in text
    std::size_t width;         // in text, at least; 0 for a last column of any width
    int decimals = 0;          // in text
};

using Cell = std::variant<std::monostate, std::int64_t, std::uint64_t, double, float, std::string_view>;

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

// Writes rows as they come: as aligned text for the eye (numbers rounded, "-" for no value), as CSV (an empty
// field for no value) or as a JSON array of objects (null). Numbers in CSV and JSON read back as exactly the
// same numbers.
class TableWriter {
public:
    // The columns and the output must outlive the writer.
    TableWriter(OutputBuffer& output, OutputFormat outputFormat, std::span<const Column> tableColumns);

    void row(std::span<const Cell> cells);
    void end();

private:
    void textRow(std::span<const Cell> cells);
    void csvRow(std::span<const Cell> cells);
    void jsonRow(std::span<const Cell> cells);
    void textField(std::string_view text, const Column& column);

    OutputBuffer& out;
    OutputFormat format;
    std::span<const Column> columns;
    bool hasRows = false;
};

// Writes a number as JSON, which knows no infinities.
template <std::floating_point Real>
void writeJsonNumber(OutputBuffer& out, Real value) {
    if (std::isfinite(value)) {
        out << NumberText(value);
    } else {
        out << "null";
    }
}

// Writes a member of a JSON object, `"name":[...]`.
template <class Values>
void writeJsonArray(OutputBuffer& out, std::string_view name, const Values& values) {
    out << '"' << name << "\":[";
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i > 0) {
            out << ',';
        }
        if constexpr (std::floating_point<std::remove_cvref_t<decltype(values[i])>>) {
            writeJsonNumber(out, values[i]);
        } else {
            out << NumberText(values[i]);
        }
    }
    out << ']';
}

// The text in quotes, with replacement characters for what is no valid UTF-8.
std::string jsonString(std::string_view text);

}  // namespace kova_tool
