#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "sqlite/cppsqlite3.h"

namespace lumo::io::calibration {

// Which calibration of a state each frame is mapped to, from one mapping table. The table is looked at when
// it is first needed; its name may be written in any case of letters, and a table that is absent counts as no
// mapping.
class FrameMapping {
public:
    // `idColumn` holds the calibration ids. The connection must outlive the mapping.
    FrameMapping(CppSQLite3DB& db, std::string table, const std::string& idColumn, int stateId);

    // Raises CppSQLite3Exception when the table has other columns.
    void prepare();

    // Empty when the frame is not mapped.
    std::optional<std::int64_t> calibrationOf(std::int64_t frameId);

private:
    CppSQLite3DB& db;
    std::string tableName;
    std::string query;
    bool absent = false;
    CppSQLite3Statement statement;
};

}  // namespace lumo::io::calibration
