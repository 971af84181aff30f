// Writers that begin in the middle of a query, which no lock of a reader hinders in write-ahead mode.
#include <filesystem>
#include <future>

#include <gtest/gtest.h>

#include "analysis-writer/sqlite_database.h"
#include "fixtures/failure.h"
#include "fixtures/temp_directory.h"
#include "fixtures/writer_process.h"
#include "sqlite/cppsqlite3.h"

namespace {

namespace fs = std::filesystem;
using fixtures::WriterProcess;

constexpr const char* kTryAgain = "database is locked (another program has begun to write it; try again)";

// Many pages of equal numbers, which a writer changes all at once.
class WriterAppears : public testing::Test {
protected:
    void SetUp() override {
        analysis_writer::SqliteDatabase(file).execute(
            "PRAGMA journal_mode=WAL; PRAGMA page_size=512; VACUUM; CREATE TABLE T AS WITH RECURSIVE n(i) AS "
            "(SELECT "
            "1 UNION ALL SELECT i + 1 FROM n LIMIT 2000) SELECT 0 AS V, hex(zeroblob(50)) AS Padding FROM n");
    }

    // Leaves the new numbers in the database file, in the place of the old ones.
    static std::string changeAll(WriterProcess& writer, int value) {
        return writer.execute("UPDATE T SET V=" + std::to_string(value) +
                              "; PRAGMA wal_checkpoint(TRUNCATE)");
    }

    static std::string numbersIn(CppSQLite3DB& db) {
        const CppSQLite3Query row = db.execQuery("SELECT min(V), max(V) FROM T");
        return row.getStringField(0) + " " + row.getStringField(1);
    }

    void expectThatNothingIsMixed() {
        CppSQLite3DB db;
        db.open(file);
        {
            CppSQLite3Query rows = db.execQuery("SELECT V FROM T");
            WriterProcess writer(file);
            ASSERT_EQ(changeAll(writer, 7), "");
            EXPECT_EQ(fixtures::failureOf([&] {
                          for (; !rows.eof(); rows.nextRow()) {
                              EXPECT_EQ(rows.getIntField(0), 0);
                          }
                      }),
                      kTryAgain);
        }
        EXPECT_EQ(numbersIn(db), "7 7");
    }

    fixtures::TempDirectory directory;
    fs::path file = directory / "db";
};

TEST_F(WriterAppears, WhereNoLogWasThere) { expectThatNothingIsMixed(); }

TEST_F(WriterAppears, WhereALogWithoutIndexWasThere) {
    WriterProcess killed(file);
    ASSERT_EQ(killed.execute("CREATE TABLE U (A)"), "");
    killed.kill();
    fs::remove(directory / "db-shm");
    expectThatNothingIsMixed();
}

TEST_F(WriterAppears, AgainAndAgain) {
    constexpr int kWriters = 40;
    auto writers = std::async(std::launch::async, [this] {
        std::string problems;
        for (int value = 1; value <= kWriters; ++value) {
            WriterProcess writer(file);
            problems += changeAll(writer, value);
        }
        return problems;
    });
    while (writers.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        CppSQLite3DB db;
        db.open(file);
        db.execDML("PRAGMA busy_timeout=15000");
        for (int i = 0; i < 5; ++i) {
            const std::string numbers = numbersIn(db);
            EXPECT_EQ(numbers.substr(0, numbers.find(' ')), numbers.substr(numbers.find(' ') + 1));
        }
    }
    EXPECT_EQ(writers.get(), "");
    CppSQLite3DB db;
    db.open(file);
    EXPECT_EQ(numbersIn(db), "40 40");
}

}  // namespace
