#include "kovarun/run/stored_columns.h"

#include "sqlite/cppsqlite3.h"

// The database is asked, since no version number tells which columns a program has written. Table names come
// from this library alone, so they are put into the SQL as they are.
namespace lumo::run {

std::set<std::string> columnsOf(CppSQLite3DB& db, const std::string& table) {
    std::set<std::string> names;
    CppSQLite3Query rows = db.execQuery("SELECT name FROM pragma_table_info('" + table + "')");
    for (; !rows.eof(); rows.nextRow()) {
        names.insert(rows.getStringField(0));
    }
    return names;
}

std::string msLevelExpression(CppSQLite3DB& db) {
    if (columnsOf(db, "Frames").contains("MsMsType")) {
        return "CASE WHEN MsMsType = 0 THEN 1 WHEN MsMsType > 0 THEN 2 END";
    }
    if (!columnsOf(db, "ZorelFrameMsMsInfo").empty()) {
        return "CASE WHEN Id IN (SELECT Frame FROM ZorelFrameMsMsInfo) THEN 2 ELSE 1 END";
    }
    return "NULL";
}

}  // namespace lumo::run
