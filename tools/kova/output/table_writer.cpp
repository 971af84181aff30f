#include "kova/output/table_writer.h"

#include <string>

#include "kova/output/json_object.h"
#include "kova/output/overloaded.h"

// One table, three formats. Rows are written as they come, so the first lines of a long run appear at the
// beginning of reading it.
namespace kova_tool {
namespace {

std::string csvString(std::string_view text) {
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
        return std::string(text);
    }
    std::string quoted = "\"";
    for (const char character : text) {
        quoted.append(character == '"' ? 2 : 1, character);
    }
    return quoted + '"';
}

}  // namespace

TableWriter::TableWriter(OutputBuffer& output, OutputFormat outputFormat,
                         std::span<const Column> tableColumns)
    : out(output), format(outputFormat), columns(tableColumns) {
    for (std::size_t i = 0; i < columns.size() && format != OutputFormat::Json; ++i) {
        if (format == OutputFormat::Text) {
            textField(columns[i].heading, columns[i]);
        } else {
            out << (i > 0 ? "," : "") << columns[i].name;
        }
    }
    if (format == OutputFormat::Text) {
        endTextLine();
    } else {
        out << (format == OutputFormat::Json ? '[' : '\n');
    }
}

void TableWriter::row(std::span<const Cell> cells) {
    switch (format) {
        case OutputFormat::Text:
            textRow(cells);
            break;
        case OutputFormat::Csv:
            csvRow(cells);
            break;
        case OutputFormat::Json:
            jsonRow(cells);
            break;
    }
    hasRows = true;
}

void TableWriter::end() {
    if (format == OutputFormat::Json) {
        out << (hasRows ? "\n]\n" : "]\n");
    }
}

void TableWriter::textField(std::string_view text, const Column& column) {
    if (!column.inText) {
        return;
    }
    // Two blanks between columns, none before the first; one is left where a text is too wide.
    const std::size_t width = column.width + (&column == columns.data() ? 0 : 2);
    const std::size_t blanks = text.size() < width ? width - text.size() : 1;
    line.append(column.width == 0 ? 2 : blanks, ' ');
    line += text;
}

void TableWriter::endTextLine() {
    const std::size_t width = out.width();
    if (line.size() > width) {
        line.resize(width - 1);
        line += "…";
    }
    out << line << '\n';
    line.clear();
}

void TableWriter::textRow(std::span<const Cell> cells) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const Column& column = columns[i];
        std::visit(Overloaded{[&](std::monostate) { textField("-", column); },
                              [&](std::floating_point auto value) {
                                  textField(NumberText(static_cast<double>(value), column.decimals).view(),
                                            column);
                              },
                              [&](std::integral auto value) { textField(NumberText(value).view(), column); },
                              [&](std::string_view value) { textField(value, column); }},
                   cells[i]);
    }
    endTextLine();
}

void TableWriter::csvRow(std::span<const Cell> cells) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
        out << (i > 0 ? "," : "");
        std::visit(Overloaded{[](std::monostate) {},
                              [&](std::floating_point auto value) { out << NumberText(value); },
                              [&](std::integral auto value) { out << NumberText(value); },
                              [&](std::string_view value) { out << csvString(value); }},
                   cells[i]);
    }
    out << '\n';
}

void TableWriter::jsonRow(std::span<const Cell> cells) {
    out << (hasRows ? ",\n " : "\n ");
    JsonObject object(out);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        object.member(columns[i].name, cells[i]);
    }
    object.end();
}

}  // namespace kova_tool
