// Tables of precursors and calibrations with any values of any type, over intact frames, used through the exported functions.
#include <filesystem>
#include <iterator>
#include <vector>

#include <sqlite3.h>

#include "common/analysis_in_memory.h"
#include "common/require.h"
#include "common/sql_values.h"

namespace {

// The files of the intact analysis stay; rows are replaced by a connection of its own.
class Tables {
public:
    Tables() {
        const std::string file = (analysis.path() / "analysis.kvd").string();
        fuzz::require(sqlite3_open(file.c_str(), &connection) == SQLITE_OK, "the database opens");
        execute("PRAGMA journal_mode=MEMORY; PRAGMA synchronous=OFF");
    }
    Tables(const Tables&) = delete;
    Tables& operator=(const Tables&) = delete;
    ~Tables() { sqlite3_close(connection); }

    void execute(const std::string& sql) {
        fuzz::require(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK,
                      sql.c_str());
    }
    void use() const { analysis.useWith({}); }

private:
    fuzz::AnalysisInMemory analysis{{.frames = {1, 2}, .precursors = {1, 2, 3, -1}}};
    sqlite3* connection = nullptr;
};

// Mostly, so that rows meet.
std::string smallNumber(std::uint8_t kind) { return std::to_string(kind % 5); }

std::string takeRows(fuzz::ByteSource& source, const std::string& table, std::uint32_t columns) {
    std::string sql;
    for (std::uint32_t rows = source.below(6); rows > 0; --rows) {
        sql += "INSERT OR IGNORE INTO " + table + " VALUES (" +
               fuzz::takeSqlValues(source, columns, smallNumber) + ");";
    }
    return sql;
}

// What makes up a calibration that is read, for a start.
std::string plausible(std::uint8_t kind) {
    constexpr double kValues[] = {0.0,   1.0,  300.0, 160000.0, 0.005,  900.0,
                                  190.0, 70.0, 33.0,  0.01737,  115.45, 60.0};
    return fuzz::sqlNumber(kValues[kind % std::size(kValues)]);
}

struct Changed {
    const char* table;
    std::vector<const char*> columns;
};

// The rows that there were, with some values changed.
std::string takeChanges(fuzz::ByteSource& source, const Changed& changed) {
    const std::string table = changed.table;
    std::string sql =
        "DELETE FROM " + table + "; INSERT INTO " + table + " SELECT * FROM Plain" + table + ";";
    for (std::uint32_t count = source.below(6); count > 0; --count) {
        sql += "UPDATE " + table + " SET " +
               changed.columns[source.below(static_cast<std::uint32_t>(changed.columns.size()))] + "=" +
               fuzz::takeSqlValue(source, plausible) + ";";
    }
    return sql;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Changed kCalibrations[] = {
        {"MzCalibration",
         {"ModelType", "DigitizerTimebase", "DigitizerDelay", "T1", "T2", "dC1", "dC2", "C0", "C1", "C2",
          "C3", "C4", "C5", "C6", "C7", "C8", "C9"}},
        {"KovaCalibration", {"ModelType", "C0", "C1", "C2", "C3", "C4", "C5", "C6", "C7", "C8", "C9"}},
    };
    static Tables tables;
    static const bool isPlain = [] {
        for (const char* const column : {"C5", "C6", "C7", "C8", "C9"}) {
            tables.execute(std::string("ALTER TABLE MzCalibration ADD COLUMN ") + column);
        }
        tables.execute(
            "CREATE TABLE PlainMzCalibration AS SELECT * FROM MzCalibration;"
            "CREATE TABLE PlainKovaCalibration AS SELECT * FROM KovaCalibration;"
            "DROP TABLE Precursors; CREATE TABLE Precursors (Id, Parent, ScanNumber);"
            "DROP TABLE ZorelFrameMsMsInfo;"
            "CREATE TABLE ZorelFrameMsMsInfo (Frame, Precursor, ScanNumBegin, ScanNumEnd)");
        return true;
    }();
    fuzz::require(isPlain, "tables without declared types");
    fuzz::ByteSource source(data, size);
    tables.execute("BEGIN; DELETE FROM Precursors; DELETE FROM ZorelFrameMsMsInfo;" +
                   takeRows(source, "Precursors", 3) + takeRows(source, "ZorelFrameMsMsInfo", 4) +
                   takeChanges(source, kCalibrations[0]) + takeChanges(source, kCalibrations[1]) + "COMMIT");
    tables.use();
    return 0;
}
