// Opening and closing an analysis, beside the same done with SQLite and the system alone.
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <filesystem>

#include <benchmark/benchmark.h>

#include "bench_analysis.h"
#include "kovadata/kova.h"

namespace {

const std::filesystem::path& analysis() {
    static const std::filesystem::path path = bench::simulatedRun(bench::kSparseRun);
    return path;
}

// The statements that opening has to run, in their order.
constexpr const char* kStatements[] = {
    "PRAGMA busy_timeout=15000",
    "SELECT Value FROM GlobalMetadata WHERE Key='SchemaVersionMajor'",
    "SELECT Value FROM GlobalMetadata WHERE Key='SchemaVersionMinor'",
    "SELECT KovaId, AccumulationTime, RampTime FROM Frames WHERE Id = ?",
    "SELECT Value FROM GlobalMetadata WHERE Key='KovaCompressionType'",
    "PRAGMA TABLE_INFO(MzCalibration)",
    "PRAGMA TABLE_INFO(KovaCalibration)",
    "SELECT Value FROM GlobalMetadata WHERE Key='KovaCompressionType'",
    "SELECT Value FROM GlobalMetadata WHERE Key='PeakListIndexScaleFactor'",
    "SELECT Value FROM GlobalMetadata WHERE Key='DigitizerNumSamples'",
};

void bareOpen(benchmark::State& state) {
    const std::string database = analysis() / "analysis.kvd";
    const std::string blob = analysis() / "analysis.kvd_bin";
    for (auto _ : state) {
        sqlite3* connection = nullptr;
        sqlite3_open_v2(database.c_str(), &connection, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
        for (const char* const sql : kStatements) {
            sqlite3_stmt* statement = nullptr;
            if (sqlite3_prepare_v2(connection, sql, -1, &statement, nullptr) != SQLITE_OK) {
                state.SkipWithError(sqlite3_errmsg(connection));
            } else if (sqlite3_bind_parameter_count(statement) == 0) {
                while (sqlite3_step(statement) == SQLITE_ROW) {
                }
            }
            sqlite3_finalize(statement);
        }
        close(open(blob.c_str(), O_RDONLY | O_CLOEXEC));
        sqlite3_close(connection);
    }
}

void library(benchmark::State& state) {
    for (auto _ : state) {
        const std::uint64_t handle = kova_open(analysis().c_str(), 0);
        if (handle == 0) {
            state.SkipWithError("the analysis could not be opened");
        }
        kova_close(handle);
    }
}

BENCHMARK(bareOpen)->Name("open_and_close/floor")->Unit(benchmark::kMicrosecond);
BENCHMARK(library)->Name("open_and_close/library")->Unit(benchmark::kMicrosecond);

}  // namespace
