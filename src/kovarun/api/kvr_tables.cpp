#include <system_error>

#include "calibration-state/calibration_reader_sqlite.h"
#include "kovarun/api/kvr_run.h"
#include "kovarun/arrow/table_source.h"
#include "kovarun/tables/metadata_tables.h"
#include "sqlite/cppsqlite3.h"

// Tables of metadata. A table is read as a whole, in one transaction, before its first batch is given out. So
// what comes later cannot contradict what came before, whatever a writer does in the meantime.
namespace lumo::run {

namespace {

// The table is in memory as a whole; cutting it only spares consumers batches of any size.
constexpr std::int64_t kRowsPerBatch = std::int64_t{1} << 20;

// The file of states has a connection of its own for the time of this call: it need not exist, and the
// readers keep it open only while a state of it is in use.
Table readStatesOf(const kvr_run& handle) {
    const std::filesystem::path file = io::calibration::getCalibrationFile(handle.run->directory());
    if (std::error_code ignored; !std::filesystem::exists(file, ignored)) {
        return noStates();
    }
    CppSQLite3DB db;
    db.open(file);
    db.execDML("PRAGMA busy_timeout=15000");
    return db.inTransaction([&] { return readStates(db, handle.calibrationState); });
}

Table readTableOfAnalysis(const Reader& reader, CppSQLite3DB& db, uint32_t kind) {
    switch (kind) {
        case KVR_TABLE_METADATA:
            return readGlobalMetadata(db);
        case KVR_TABLE_FRAMES:
            return readFrames(db);
        case KVR_TABLE_PRECURSORS:
            return readPrecursors(reader);
        case KVR_TABLE_ISOLATIONS:
            return readIsolations(db);
        default:
            LUMO_THROW(std::invalid_argument("There is no table " + std::to_string(kind) + "."));
    }
}

// Runs `read(reader, db)` in one transaction.
template <class Read>
Table readInTransaction(Run& run, const Read& read) {
    const sys::CountedWork counted(run.counters());
    const sys::WorkStopwatch stopwatch(&sys::WorkCounters::queries);
    const auto reader = run.borrow();
    CppSQLite3DB& db = *reader->analysis().getSQLiteDb();
    return db.inTransaction([&] { return read(*reader, db); });
}

Table readTableOf(kvr_run& handle, uint32_t kind) {
    if (kind == KVR_TABLE_STATES) {
        const sys::CountedWork counted(handle.run->counters());
        const sys::WorkStopwatch stopwatch(&sys::WorkCounters::queries);
        return readStatesOf(handle);
    }
    return readInTransaction(*handle.run, [kind](const Reader& reader, CppSQLite3DB& db) {
        return readTableOfAnalysis(reader, db, kind);
    });
}

std::unique_ptr<arrow::BatchSource> sourceOf(Table table) {
    return std::make_unique<arrow::TableSource>(std::move(table.fields), std::move(table.rows),
                                                kRowsPerBatch);
}

}  // namespace

}  // namespace lumo::run

uint32_t kvr_table(kvr_run* run, uint32_t table, ArrowArrayStream* stream) {
    using namespace lumo::run;
    return callForStream(stream, [&] { return sourceOf(readTableOf(checked(run), table)); });
}

uint32_t kvr_precursors(kvr_run* run, const int64_t* precursors, uint64_t num_precursors,
                        ArrowArrayStream* stream) {
    using namespace lumo::run;
    return callForStream(stream, [&] {
        const std::span<const std::int64_t> ids = checkedPrecursors(precursors, num_precursors);
        return sourceOf(readInTransaction(*checked(run).run, [ids](const Reader& reader, CppSQLite3DB&) {
            return readPrecursors(reader, ids);
        }));
    });
}
