#include "calibration-table-reader/calibration_table_reader.h"

#include <stdexcept>

#include "diag/throw.h"

// Look-ups in a table of calibrations, by one prepared statement. It selects as many coefficients "C0", "C1",
// ... as the table has columns left for, since tables of different years have different numbers of them.
namespace lumo::io::calibration {
namespace {

std::size_t countColumns(CppSQLite3DB& db, const std::string& tableName) {
    std::size_t count = 0;
    for (CppSQLite3Query row = db.execQuery("PRAGMA TABLE_INFO(" + tableName + ");"); !row.eof();
         row.nextRow()) {
        ++count;
    }
    return count;
}

std::size_t countCoefficientColumns(CppSQLite3DB& db, const std::string& tableName,
                                    std::size_t numFixedColumns, std::size_t numExtraColumns) {
    const std::size_t numColumns = countColumns(db, tableName);
    if (numColumns < numFixedColumns + 1) {
        LUMO_THROW(std::runtime_error("Too few columns in table " + tableName));
    }
    // Extra columns do not count here. Where some are missing, the number of coefficients is not known and
    // does not matter: the query will fail with the name of one that it does not find.
    const std::size_t numOtherColumns = numFixedColumns + numExtraColumns;
    return numColumns < numOtherColumns ? 1 : numColumns - numOtherColumns;
}

}  // namespace

CalibrationTableReader::CalibrationTableReader(CppSQLite3DB& database, const std::string& tableName,
                                               std::size_t numExtraColumns, const std::string& extraColumns,
                                               std::optional<int> state)
    : db(database),
      calibrationState(state),
      numFixedColumns(calibrationState ? 3 : 2),
      numCoefficientColumns(countCoefficientColumns(db, tableName, numFixedColumns, numExtraColumns)) {
    const std::string filter =
        calibrationState ? "c.CalibrationState=" + std::to_string(*calibrationState) + " AND " : "";
    queryPrefix = "SELECT c.Id, c.ModelType, " + extraColumns +
                  getCalibCoeffColumnList(numCoefficientColumns) + " FROM " + tableName + " c WHERE " +
                  filter + "c.Id = ";
}

bool CalibrationTableReader::getCalibratorCoefficients(std::int64_t id, CppSQLite3Query& result) const {
    // An earlier result resets the statement when it is released, so that must come first.
    result = CppSQLite3Query();
    if (!statement.isPrepared()) {
        statement = db.compileStatement(queryPrefix + "?");
    }
    statement.bind(1, id);
    result = statement.execQuery();
    return !result.eof() && !result.fieldIsNull(0);
}

std::string getCalibCoeffColumnList(std::size_t n) {
    std::string list;
    for (std::size_t i = 0; i < n; ++i) {
        list += (i == 0 ? "c.C" : ", c.C") + std::to_string(i);
    }
    return list;
}

}  // namespace lumo::io::calibration
