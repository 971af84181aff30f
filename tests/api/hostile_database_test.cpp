// Databases whose schema is the attack, and paths that SQLite could mistake for something else.
#include <filesystem>

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include "api/zorel_results.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/process_state.h"
#include "fixtures/small_analyses.h"
#include "fixtures/temp_directory.h"

namespace {

namespace fs = std::filesystem;
using fixtures::AnalysisBuilder;
using fixtures::TempDirectory;

// Ends the process when it works for longer than any of these calls may take.
struct Watchdog {
    Watchdog() { fixtures::startWatchdog(60); }  // sanitizers take most of it
    ~Watchdog() { fixtures::startWatchdog(0); }
};

AnalysisBuilder runOfOneFrame() {
    AnalysisBuilder builder;
    return builder.frame(api::kSmallFrame)
        .precursor({.id = 1, .parent = 1, .scanNumber = 0.5})
        .zorelMsMs(1, 1, 0, 3);
}

// Replaces a table by a view of what `select` gives.
AnalysisBuilder withView(const std::string& table, const std::string& select) {
    return runOfOneFrame().withoutTable(table).sql("CREATE VIEW " + table + " AS " + select);
}

const std::string kNumbers = "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) ";

TEST(EndlessView, OfMetadataFailsToOpen) {
    const Watchdog watchdog;
    for (const char* const condition : {"i < 0", "i = 1"}) {  // never a row, never an end
        const TempDirectory directory;
        withView("GlobalMetadata",
                 kNumbers + "SELECT 'SchemaVersionMajor' AS Key, '3' AS Value FROM n WHERE " + condition)
            .write(directory.path());
        EXPECT_EQ(api::openError(directory.string()), "interrupted");
    }
}

TEST(EndlessView, OfFramesOrPrecursorsFailsTheCallsThatReadIt) {
    const Watchdog watchdog;
    const api::Analysis first(withView(
        "Frames", kNumbers + "SELECT i AS Id, 16 AS KovaId, 1 AS AccumulationTime, 1 AS RampTime, '+' AS "
                             "Polarity, 1 AS T1, 1 AS T2, 1 AS MzCalibration, 1 AS KovaCalibration FROM n"));
    ASSERT_TRUE(first) << api::lastError();
    EXPECT_EQ(first.readRaw(1, 0, 3).peaks(3), api::kSmallFrame);
    EXPECT_EQ(first.errorOf(-1, 0, 1), "interrupted");
    EXPECT_EQ(first.readRaw(1, 0, 3).peaks(3), api::kSmallFrame);

    const api::Analysis second(
        withView("Precursors", kNumbers + "SELECT i AS Id, 1 AS Parent, 0.5 AS ScanNumber FROM n"));
    ASSERT_TRUE(second) << api::lastError();
    EXPECT_EQ(zorel::readFrame(second, 1).error, "interrupted");
    EXPECT_EQ(second.readRaw(1, 0, 3).peaks(3), api::kSmallFrame);
}

TEST(HugeValue, ThatTheSchemaComputesIsRefused) {
    const TempDirectory directory;
    withView("GlobalMetadata", "SELECT 'SchemaVersionMajor' AS Key, hex(zeroblob(300000000)) AS Value")
        .write(directory.path());
    EXPECT_EQ(api::openError(directory.string()), "string or blob too big");
}

// SQLite's check of cell sizes refuses a page once and takes it the next time, so it stays off.
TEST(DamagedPage, GivesTheSameAnswerEachTime) {
    constexpr std::size_t kPageBytes = 512;
    constexpr std::size_t kHeaderBytes = 14;  // of a page, with its first cell pointers
    const fixtures::MemoryDirectory directory;
    fixtures::smallZorelRun(2).write(directory.path());
    const auto intact = fixtures::contentOf(directory.path() / "analysis.kvd");
    for (std::size_t page = kPageBytes; page < intact.size(); page += kPageBytes) {
        for (std::size_t i = page; i < page + kHeaderBytes; ++i) {
            auto damaged = intact;
            damaged[i] ^= 1;
            directory.put("analysis.kvd", damaged);
            const api::Analysis analysis(directory.path());
            if (analysis) {
                const std::string first = zorel::readFrame(analysis, 1).error;
                EXPECT_EQ(zorel::readFrame(analysis, 1).error, first) << i;
            }
        }
    }
}

TEST(PipeInPlaceOfAFile, NeitherHangsNorOpens) {
    for (const std::string name :
         {"analysis.kvd", "analysis.kvd-journal", "analysis.kvd-wal", "analysis.kvd_bin"}) {
        const TempDirectory directory;
        runOfOneFrame().write(directory.path());
        fs::remove(directory / name);
        ASSERT_EQ(mkfifo((directory / name).c_str(), 0600), 0);
        const std::string text = "Can't open file: " + (directory / name).string() + " for reading.";
        EXPECT_EQ(api::openError(directory.string()),
                  name.ends_with("_bin") ? text : "unable to open database file");
    }
}

// SQLite shares its locks and the index of the log inside of a process.
TEST(WriteAheadMode, OfAWriterInThisProcessIsRead) {
    const TempDirectory directory;
    runOfOneFrame().sql("COMMIT; PRAGMA journal_mode=WAL; BEGIN").write(directory.path());
    sqlite3* writer = nullptr;
    ASSERT_EQ(sqlite3_open((directory / "analysis.kvd").c_str(), &writer), SQLITE_OK);
    const auto execute = [writer](const char* sql) {
        EXPECT_EQ(sqlite3_exec(writer, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sql;
    };
    execute("UPDATE Frames SET RampTime=100");  // the log is there from now on
    const api::Analysis analysis(directory.path());
    ASSERT_TRUE(analysis) << api::lastError();
    EXPECT_EQ(analysis.readRaw(1, 0, 3).peaks(3), api::kSmallFrame);
    execute("UPDATE Frames SET Id=2");
    EXPECT_EQ(analysis.readRaw(2, 0, 3).peaks(3), api::kSmallFrame);
    sqlite3_close(writer);
}

TEST(RelativePath, ThatLooksLikeAUriIsAPath) {
    const TempDirectory directory;
    const fs::path before = fs::current_path();
    fs::current_path(directory.path());
    for (const char* const name : {"file:run.d", "file:run.d?mode=memory", "file:%41", "file:a#b"}) {
        EXPECT_EQ(api::openError(runOfOneFrame().write(directory / name)), "");
        EXPECT_EQ(api::openError(name), "");
    }
    fs::current_path(before);
}

}  // namespace
