#include "kovarun/tables/metadata_tables.h"

#include <utility>

#include "sqlite/cppsqlite3.h"
#include "sqlite/quoting.h"

// Which columns the tables have, and where in the database they come from. Names on the left are this
// library's and do not change; those on the right were chosen by acquisition programs of many years.
namespace lumo::run {

namespace {

// Places in stateColumns() of the columns that need a query of their own.
constexpr std::size_t kMassFrames = 3;
constexpr std::size_t kMobilityFrames = 4;

std::vector<TableColumn> stateColumns(const std::set<std::string>& names) {
    return {present(names, "key", "Key", CellType::Text, INT64_MIN, "c."),
            present(names, "source", "Source", CellType::Text, INT64_MIN, "c."),
            present(names, "mass_per_frame", "HasFrameCalibrators", CellType::Flag, INT64_MIN, "c."),
            {.name = "mass_frames"},
            {.name = "mobility_frames"},
            {.name = "in_use", .type = CellType::Flag}};
}

}  // namespace

Table readGlobalMetadata(CppSQLite3DB& db) {
    return readTable(db,
                     {{.name = "key", .expression = "Key", .type = CellType::Text},
                      {.name = "value", .expression = "Value", .type = CellType::Text}},
                     "FROM GlobalMetadata");
}

// Counts below 0 make no sense and become null; so does an MS level other than 1 and 2.
Table readFrames(CppSQLite3DB& db) {
    const std::set<std::string> names = columnsOf(db, "Frames");
    std::vector<TableColumn> columns = {
        present(names, "id", "Id", CellType::Integer),
        present(names, "time", "Time", CellType::Real),
        present(names, "polarity", "Polarity", CellType::Text),
        {.name = "ms_level", .expression = msLevelExpression(db), .lowest = 1, .highest = 2, .isSmall = true},
        present(names, "scans", "NumScans", CellType::Integer, 0),
        present(names, "peaks", "NumPeaks", CellType::Integer, 0),
        present(names, "intensity_sum", "SummedIntensities", CellType::Integer, 0),
        present(names, "accumulation_time", "AccumulationTime", CellType::Real),
        present(names, "ramp_time", "RampTime", CellType::Real),
        present(names, "mz_calibration", "MzCalibration", CellType::Integer),
        present(names, "mobility_calibration", "KovaCalibration", CellType::Integer),
        present(names, "position", "KovaId", CellType::Integer, 0)};
    return readTable(db, columns, "FROM Frames ORDER BY Id");
}

Table readIsolations(CppSQLite3DB& db) {
    const std::set<std::string> names = columnsOf(db, "ZorelFrameMsMsInfo");
    const std::vector<TableColumn> columns = {present(names, "frame", "Frame", CellType::Integer),
                                              present(names, "precursor", "Precursor", CellType::Integer),
                                              present(names, "scan_begin", "ScanNumBegin", CellType::Integer),
                                              present(names, "scan_end", "ScanNumEnd", CellType::Integer)};
    return names.empty() ? emptyTable(columns)
                         // By place: a column that the database lacks is a NULL in the query and has no name.
                         : readTable(db, columns, "FROM ZorelFrameMsMsInfo ORDER BY 1, 3, 2");
}

// Mapping tables may be missing; the numbers of mapped frames are then null and not 0.
Table readStates(CppSQLite3DB& db, const std::string& inUse) {
    const std::set<std::string> names = columnsOf(db, "CalibrationState");
    if (names.empty()) {
        return noStates();
    }
    std::vector<TableColumn> columns = stateColumns(names);
    const auto countOf = [&db](const std::string& mapping) {
        return columnsOf(db, mapping).empty()
                   ? std::string("NULL")
                   : "(SELECT COUNT(*) FROM " + mapping + " m WHERE m.CalibrationState=c.Id)";
    };
    columns[kMassFrames].expression = countOf("FrameMzCalibrationMapping");
    columns[kMobilityFrames].expression = countOf("KovaCalibrationMapping");
    columns.back().expression = names.contains("Key") ? "c.Key=" + sqlite::sqlLiteral(inUse) : "0";
    return readTable(db, columns, "FROM CalibrationState c ORDER BY c.Id");
}

Table noStates() { return emptyTable(stateColumns({})); }

}  // namespace lumo::run
