// Tables of precursors with any values of any type, over intact frames, used through the exported functions.
#include <filesystem>

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Tables tables;
    static const bool isPlain = [] {
        tables.execute(
            "DROP TABLE Precursors; CREATE TABLE Precursors (Id, Parent, ScanNumber);"
            "DROP TABLE ZorelFrameMsMsInfo;"
            "CREATE TABLE ZorelFrameMsMsInfo (Frame, Precursor, ScanNumBegin, ScanNumEnd)");
        return true;
    }();
    fuzz::require(isPlain, "tables without declared types");
    fuzz::ByteSource source(data, size);
    tables.execute("BEGIN; DELETE FROM Precursors; DELETE FROM ZorelFrameMsMsInfo;" +
                   takeRows(source, "Precursors", 3) + takeRows(source, "ZorelFrameMsMsInfo", 4) +
                   "UPDATE MzCalibration SET DigitizerTimebase=" + fuzz::takeSqlValue(source, smallNumber) +
                   "+0.2 WHERE " + (source.take<std::uint8_t>() % 8 == 0 ? "1" : "0") + "; COMMIT");
    tables.use();
    return 0;
}
