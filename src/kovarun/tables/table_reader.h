#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "kovarun/arrow/column.h"

class CppSQLite3DB;

// Reads rows of a metadata database into columns. Programs of many years and makes write these databases:
// which columns there are differs, and a cell may hold anything. A column that is not there, and a value of
// the wrong type or below what makes sense, become null.
namespace lumo::run {

enum class CellType { Integer, Real, Text, Flag };

// A column of a table: its name, how it is computed (NULL where the metadata do not have it) and what it
// holds.
struct TableColumn {
    std::string name;
    std::string expression = "NULL";
    CellType type = CellType::Integer;
    std::int64_t lowest = INT64_MIN;  // of integers
    std::int64_t highest = INT64_MAX;
    bool isSmall = false;  // int8 rather than int64
};

// A column that is there, by its name in the database, else NULL.
TableColumn present(const std::set<std::string>& names, std::string name, const std::string& inDatabase,
                    CellType type, std::int64_t lowest = INT64_MIN, const std::string& prefix = {});

struct Table {
    std::vector<arrow::Field> fields;
    arrow::RecordBatch rows;
};

// Runs "SELECT <expressions> <rest>".
Table readTable(CppSQLite3DB& db, const std::vector<TableColumn>& columns, const std::string& rest);

// No row of these columns.
Table emptyTable(const std::vector<TableColumn>& columns);

}  // namespace lumo::run
