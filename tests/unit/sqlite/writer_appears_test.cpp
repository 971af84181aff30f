// Writers that begin in the middle of a query, which no lock of a reader hinders in write-ahead mode.
#include <filesystem>

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

    void expectThatNothingIsMixed() {
        CppSQLite3DB db;
        db.open(file);
        {
            CppSQLite3Query rows = db.execQuery("SELECT V FROM T");
            WriterProcess writer(file);
            ASSERT_EQ(writer.execute("UPDATE T SET V=7; PRAGMA wal_checkpoint(TRUNCATE)"), "");
            EXPECT_EQ(fixtures::failureOf([&] {
                          for (; !rows.eof(); rows.nextRow()) {
                              EXPECT_EQ(rows.getIntField(0), 0);
                          }
                      }),
                      kTryAgain);
        }
        const CppSQLite3Query row = db.execQuery("SELECT min(V), max(V) FROM T");
        EXPECT_EQ(row.getStringField(0) + row.getStringField(1), "77");
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

}  // namespace
