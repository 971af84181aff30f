#include "analysis-writer/coefficient_table.h"

// How many coefficients a table has is up to the test, since files of different years have different numbers
// of them.
namespace analysis_writer {

CoefficientTable::CoefficientTable(SqliteDatabase& target, const std::string& tableName,
                                   const std::string& leadingColumns, std::size_t columns)
    : database(&target), name(tableName), coefficientColumns(columns) {
    std::string sql = "CREATE TABLE " + name + " (" + leadingColumns;
    for (std::size_t i = 0; i < coefficientColumns; ++i)
        sql += ", C" + std::to_string(i) + " REAL";
    database->execute(sql + ")");
}

void CoefficientTable::insert(std::initializer_list<SqlValue> leading, const Coefficients& coefficients) {
    if (coefficients.size() > coefficientColumns) {
        throw std::invalid_argument("more coefficients than columns in table " + name);
    }
    std::string sql = "INSERT INTO " + name + " VALUES (?";
    for (std::size_t i = 1; i < leading.size() + coefficientColumns; ++i)
        sql += ",?";
    SqliteStatement statement(*database, sql + ")");
    int position = 1;
    for (const SqlValue& value : leading)
        statement.bind(position++, value);
    for (const std::optional<double>& value : coefficients)
        statement.bind(position++, sqlValue(value));
    statement.execute();
}

}  // namespace analysis_writer
