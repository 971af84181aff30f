#pragma once

#include <set>
#include <string>

class CppSQLite3DB;

// Programs of many years and makes write these databases, so which columns a table has must be asked.
namespace lumo::run {

// The names of a table's columns; none when there is no such table.
std::set<std::string> columnsOf(CppSQLite3DB& db, const std::string& table);

// "MsMsType" where there is one, else whether fragments were measured in a frame: an SQL expression over
// "Frames".
std::string msLevelExpression(CppSQLite3DB& db);

}  // namespace lumo::run
