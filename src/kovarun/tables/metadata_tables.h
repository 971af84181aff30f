#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "kovarun/run/reader.h"
#include "kovarun/run/stored_columns.h"
#include "kovarun/tables/table_reader.h"

// The tables of an analysis as kvr.h describes them. Callers read a table inside one transaction, so that it
// is one state of the database.
namespace lumo::run {

Table readGlobalMetadata(CppSQLite3DB& db);
Table readFrames(CppSQLite3DB& db);
// All precursors, or those with the given ids.
Table readPrecursors(const Reader& reader, std::optional<std::span<const std::int64_t>> ids = std::nullopt);
Table readIsolations(CppSQLite3DB& db);

// States of a re-calibration file; `inUse` is the key of the one that converts.
Table readStates(CppSQLite3DB& db, const std::string& inUse);
// The same table without rows, for analyses that have no such file.
Table noStates();

}  // namespace lumo::run
