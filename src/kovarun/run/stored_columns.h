#pragma once

#include <set>
#include <string>

class CppSQLite3DB;

// Which columns a table has must be asked: databases come from acquisition programs of many years, and a
// query that names a column which is not there fails as a whole.
namespace lumo::run {

// The names of a table's columns; none when there is no such table.
std::set<std::string> columnsOf(CppSQLite3DB& db, const std::string& table);

// An SQL expression over "Frames" for a frame's MS level, 1, 2 or NULL: by "MsMsType" where that column is
// there, else by whether fragments are listed for the frame.
std::string msLevelExpression(CppSQLite3DB& db);

}  // namespace lumo::run
