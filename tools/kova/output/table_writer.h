#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "kova/output/cell.h"
#include "kova/output/output_buffer.h"
#include "kova/output/output_format.h"

namespace kova_tool {

struct Column {
    std::string_view name;     // in CSV and JSON
    std::string_view heading;  // in text
    std::size_t width;         // in text, at least; 0 for a last column of any width
    int decimals = 0;          // in text
    bool inText = true;
};

// Writes rows as they come: as aligned text for the eye (numbers rounded, "-" for no value), as CSV (an empty
// field for no value) or as a JSON array of objects (null). Numbers in CSV and JSON read back as exactly the
// same numbers. Lines of text that
// go to a terminal are cut to its width.
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
    void endTextLine();

    OutputBuffer& out;
    OutputFormat format;
    std::span<const Column> columns;
    std::string line;  // of text, as far as it goes
    bool hasRows = false;
};

}  // namespace kova_tool
