#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <variant>

#include "command_options.h"
#include "output_buffer.h"

namespace kova_tool {

struct Column {
    std::string_view name;     // in CSV and JSON
    std::string_view heading;  // in text
    std::size_t width;         // in text, at least
    int decimals = 0;          // in text
};

using Cell = std::variant<std::monostate, std::int64_t, std::uint64_t, double, std::string_view>;

template <class Value>
Cell cell(const std::optional<Value>& value) {
    return value ? Cell(*value) : Cell();
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
void writeJsonNumber(OutputBuffer& out, double value);

}  // namespace kova_tool
