#include "kova/verbs/stream_table.h"

#include <vector>

// Ends when nobody reads any more (`| head`), which stops the threads of the library too.
namespace kova_tool {
void writeStream(ArrowStream& stream, std::span<const StreamColumn> columns, OutputFormat format,
                 OutputBuffer& out) {
    std::vector<Column> shown;
    for (const StreamColumn& column : columns) {
        shown.push_back(column.shown);
    }
    TableWriter table(out, format, shown);
    std::vector<Cell> cells(columns.size());
    while (!out.closed() && stream.next()) {
        std::vector<ArrowColumn> values;
        for (const StreamColumn& column : columns) {
            values.push_back(stream.column(column.name));
        }
        for (std::size_t row = 0; row < stream.rows() && !out.closed(); ++row) {
            for (std::size_t i = 0; i < columns.size(); ++i) {
                cells[i] = values[i].cellAt(row);
            }
            table.row(cells);
        }
    }
    table.end();
}

}  // namespace kova_tool
