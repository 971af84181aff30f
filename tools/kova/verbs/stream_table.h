#pragma once

#include <span>
#include <string_view>

#include "kova/output/table_writer.h"
#include "kova/run/arrow_stream.h"

namespace kova_tool {

// A column of a stream, and how it is shown.
struct StreamColumn {
    std::string_view name;  // in the stream
    Column shown;
};

// Writes a stream as a table, until its end or until nobody reads any more.
void writeStream(ArrowStream& stream, std::span<const StreamColumn> columns, OutputFormat format,
                 OutputBuffer& out);

}  // namespace kova_tool
