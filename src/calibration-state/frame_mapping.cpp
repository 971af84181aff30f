#include "calibration-state/frame_mapping.h"

#include <utility>

#include "sqlite/quoting.h"

// Look-ups by frame, each a bound parameter of one prepared statement, as every frame of a run is looked up.
// The schema is asked first whether the table is there: a file may lack it, which is no error, and its name
// has been written in different ways.
namespace lumo::io::calibration {

FrameMapping::FrameMapping(CppSQLite3DB& database, std::string table, const std::string& idColumn,
                           int stateId)
    : db(database),
      tableName(std::move(table)),
      query("SELECT " + idColumn + " FROM " + tableName + " WHERE CalibrationState='" +
            std::to_string(stateId) + "' AND FrameId=?") {}

// Done once, with the first look-up or before it; a table that is absent stays absent for this state.
void FrameMapping::prepare() {
    if (statement.isPrepared() || absent) {
        return;
    }
    absent = db.execQuery("SELECT 1 FROM sqlite_master WHERE name=" + sqlite::sqlLiteral(tableName) +
                          " COLLATE NOCASE")
                 .eof();
    if (!absent) {
        statement = db.compileStatement(query);
    }
}

std::optional<std::int64_t> FrameMapping::calibrationOf(std::int64_t frameId) {
    prepare();
    if (absent) {
        return std::nullopt;
    }
    statement.bind(1, frameId);
    const CppSQLite3Query row = statement.execQuery();
    return row.eof() || row.fieldIsNull(0) ? std::nullopt : std::optional<std::int64_t>(row.getInt64Field(0));
}

}  // namespace lumo::io::calibration
