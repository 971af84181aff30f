#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "kovarun/arrow/column.h"

class CppSQLite3DB;

// Reads rows of a metadata database into columns. These databases come from programs of many years: which
// columns there are differs, and a cell may hold anything. A column that is not there, and a value of the
// wrong type or outside of what makes sense, become null, so every analysis gives tables of the same columns.
namespace lumo::run {

enum class CellType { Integer, Real, Text, Flag };

// A column of a table: its name, the SQL expression that gives it (NULL where the metadata do not have it)
// and what it holds.
struct TableColumn {
    std::string name;
    std::string expression = "NULL";
    CellType type = CellType::Integer;
    std::int64_t lowest = INT64_MIN;  // of integers
    std::int64_t highest = INT64_MAX;
    bool isSmall = false;  // int8 rather than int64
};

// A column by its name in the database, or NULL where `names`, the columns of that table, do not have it.
// `prefix` is the table's alias with its point.
TableColumn present(const std::set<std::string>& names, std::string name, const std::string& inDatabase,
                    CellType type, std::int64_t lowest = INT64_MIN, const std::string& prefix = {});

struct Table {
    std::vector<arrow::Field> fields;
    arrow::RecordBatch rows;
};

// Runs "SELECT <expressions> <rest>". Raises what the database raises, and std::runtime_error for more text
// than a column can hold.
Table readTable(CppSQLite3DB& db, const std::vector<TableColumn>& columns, const std::string& rest);

// The columns without rows.
Table emptyTable(const std::vector<TableColumn>& columns);

}  // namespace lumo::run
