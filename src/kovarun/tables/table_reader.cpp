#include "kovarun/tables/table_reader.h"

#include <memory>
#include <optional>
#include <stdexcept>

#include "diag/throw.h"
#include "kovarun/arrow/builders.h"
#include "sqlite/cppsqlite3.h"
#include "sys/utf8.h"

// Rows become columns cell by cell. Each type of column has a reader, made once per table, so a cell costs a
// virtual call and no decision. A cell of another type than its column's is not converted but null: SQLite
// would make 0 of a text, which nobody could tell from a measured 0.
namespace lumo::run {

namespace {

// Takes the cells of one column of a query.
class CellReader {
public:
    virtual ~CellReader() = default;
    virtual void append(const CppSQLite3Query& row, int cell) = 0;
    virtual arrow::Column intoColumn() = 0;
};

// Integers between two bounds, everything else null: a negative number of scans is no number of scans.
template <class T>
class IntegerCells : public CellReader {
public:
    IntegerCells(std::int64_t low, std::int64_t high) : lowest(low), highest(high) {}

    void append(const CppSQLite3Query& row, int cell) override {
        std::optional<T> value;
        if (row.fieldType(cell) == sqlite::FieldType::Integer) {
            const std::int64_t found = row.getInt64Field(cell);
            if (found >= lowest && found <= highest) {
                value = static_cast<T>(found);
            }
        }
        builder.append(value);
    }
    arrow::Column intoColumn() override { return builder.intoColumn(); }

private:
    std::int64_t lowest;
    std::int64_t highest;
    arrow::NumberBuilder<T> builder;
};

// SQLite may store a whole number as an integer in a column of reals, so both are numbers.
class RealCells : public CellReader {
public:
    void append(const CppSQLite3Query& row, int cell) override {
        const sqlite::FieldType type = row.fieldType(cell);
        const bool isNumber = type == sqlite::FieldType::Real || type == sqlite::FieldType::Integer;
        builder.append(isNumber ? std::optional(row.getFloatField(cell)) : std::nullopt);
    }
    arrow::Column intoColumn() override { return builder.intoColumn(); }

private:
    arrow::NumberBuilder<double> builder;
};

// Texts as they are, but for bytes that are no UTF-8, which consumers of the column could not take. Numbers
// are read as their text.
class TextCells : public CellReader {
public:
    void append(const CppSQLite3Query& row, int cell) override {
        if (row.fieldIsNull(cell)) {
            builder.append(std::nullopt);
        } else {
            const std::string text = sys::repairedUtf8(row.getStringField(cell));
            if (!builder.hasRoom(text.size())) {
                LUMO_THROW(std::runtime_error("The table has more text than a batch can hold."));
            }
            builder.append(text);
        }
    }
    arrow::Column intoColumn() override { return builder.intoColumn(); }

private:
    arrow::TextBuilder builder;
};

// Only integers are flags. What a text such as "true" means is not guessed.
class FlagCells : public CellReader {
public:
    void append(const CppSQLite3Query& row, int cell) override {
        const bool isStated = row.fieldType(cell) == sqlite::FieldType::Integer;
        builder.append(isStated ? std::optional(row.getInt64Field(cell) != 0) : std::nullopt);
    }
    arrow::Column intoColumn() override { return builder.intoColumn(); }

private:
    arrow::FlagBuilder builder;
};

std::unique_ptr<CellReader> makeReader(const TableColumn& column) {
    switch (column.type) {
        case CellType::Real:
            return std::make_unique<RealCells>();
        case CellType::Text:
            return std::make_unique<TextCells>();
        case CellType::Flag:
            return std::make_unique<FlagCells>();
        case CellType::Integer:
            break;
    }
    if (column.isSmall) {
        return std::make_unique<IntegerCells<std::int8_t>>(column.lowest, column.highest);
    }
    return std::make_unique<IntegerCells<std::int64_t>>(column.lowest, column.highest);
}

std::string formatOf(const TableColumn& column) {
    switch (column.type) {
        case CellType::Real:
            return "g";
        case CellType::Text:
            return "u";
        case CellType::Flag:
            return "b";
        case CellType::Integer:
            break;
    }
    return column.isSmall ? "c" : "l";
}

// Collects rows until there are no more; one per run of the query, as a query that a writer disturbs starts
// over.
class TableBuilder {
public:
    explicit TableBuilder(const std::vector<TableColumn>& columns) {
        for (const TableColumn& column : columns) {
            readers.push_back(makeReader(column));
            table.fields.push_back({column.name, formatOf(column), arrow::Nulls::Possible});
        }
    }
    void append(const CppSQLite3Query& row) {
        int cell = 0;
        for (const auto& reader : readers) {
            reader->append(row, cell++);
        }
        ++table.rows.length;
    }
    Table intoTable() {
        for (const auto& reader : readers) {
            table.rows.columns.push_back(reader->intoColumn());
        }
        return std::move(table);
    }

private:
    std::vector<std::unique_ptr<CellReader>> readers;
    Table table;
};

}  // namespace

// A column that the metadata do not have is selected as NULL, so that all analyses give tables of the same
// columns.
// Names in the database are this library's own constants, so they need no quoting.
TableColumn present(const std::set<std::string>& names, std::string name, const std::string& inDatabase,
                    CellType type, std::int64_t lowest, const std::string& prefix) {
    TableColumn column{.name = std::move(name), .type = type, .lowest = lowest};
    if (names.contains(inDatabase)) {
        column.expression = prefix + inDatabase;
    }
    return column;
}

// One query; the order of its columns is that of the table.
Table readTable(CppSQLite3DB& db, const std::vector<TableColumn>& columns, const std::string& rest) {
    std::string sql = "SELECT ";
    for (const TableColumn& column : columns) {
        sql += (&column == columns.data() ? "" : ", ") + column.expression;
    }
    sql.append(" ").append(rest);
    TableBuilder table(columns);
    for (CppSQLite3Query row = db.execQuery(sql); !row.eof(); row.nextRow()) {
        table.append(row);
    }
    return table.intoTable();
}

Table emptyTable(const std::vector<TableColumn>& columns) { return TableBuilder(columns).intoTable(); }

}  // namespace lumo::run
