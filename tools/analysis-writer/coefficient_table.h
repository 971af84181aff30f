#pragma once

#include <string>

#include "analysis-writer/metadata_records.h"
#include "analysis-writer/sqlite_database.h"

namespace analysis_writer {

// A calibration table: named columns followed by the coefficient columns C0, C1, ...
class CoefficientTable {
public:
    // `leadingColumns` is the comma-separated list of typed columns before the coefficients.
    CoefficientTable(SqliteDatabase& database, const std::string& name, const std::string& leadingColumns,
                     std::size_t coefficientColumns);

    // Missing coefficients become NULL; more than the table has are an error.
    void insert(std::initializer_list<SqlValue> leading, const Coefficients& coefficients);

private:
    SqliteDatabase* database;
    std::string name;
    std::size_t coefficientColumns;
};

}  // namespace analysis_writer
