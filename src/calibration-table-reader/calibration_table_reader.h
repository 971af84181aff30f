#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "sqlite/cppsqlite3.h"

namespace lumo::io::calibration {

// Reads rows of one calibration table: "Id", "ModelType", extra columns, then the coefficients "C0", "C1",
// ..., as many as the table has further columns. The connection must outlive the reader. To be used by one
// thread at a time.
class CalibrationTableReader {
public:
    // `extraColumns` names the columns between "ModelType" and the coefficients, each with the table alias
    // "c." and a trailing ", "; `numExtraColumns` is their number. With a calibration state only its rows are
    // seen, and the table has a column for it. A table of no more than "Id", "ModelType" and that column, or
    // none at all, fails with std::runtime_error "Too few columns in table ..." followed by its name.
    // Whatever else is missing makes the first query fail with SQLite's own text.
    CalibrationTableReader(CppSQLite3DB& db, const std::string& tableName, std::size_t numExtraColumns,
                           const std::string& extraColumns, std::optional<int> calibrationState);

    // Positions `result` on the row of `id`: field 0 "Id", field 1 "ModelType", then extra columns and
    // coefficients. False when there is no such row. The reader keeps one compiled statement: `result` is
    // valid until the next call.
    bool getCalibratorCoefficients(std::int64_t id, CppSQLite3Query& result) const;

    std::size_t getNumCoefficientColumns() const { return numCoefficientColumns; }
    // The query up to the calibration id.
    const std::string& getQueryPrefix() const { return queryPrefix; }

private:
    CppSQLite3DB& db;
    std::optional<int> calibrationState;
    std::size_t numFixedColumns;
    std::size_t numCoefficientColumns;
    std::string queryPrefix;
    mutable CppSQLite3Statement statement;  // compiled at the first use
};

// "c.C0, c.C1, ...": n items.
std::string getCalibCoeffColumnList(std::size_t n);

}  // namespace lumo::io::calibration
