// Writers that begin in the middle of a query, which no lock of a reader hinders in write-ahead mode.
#include <filesystem>
#include <stdexcept>
#include <string>

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

    void change(int value) const {
        WriterProcess writer(file);
        ASSERT_EQ(
            writer.execute("UPDATE T SET V=" + std::to_string(value) + "; PRAGMA wal_checkpoint(TRUNCATE)"),
            "");
    }

    // A query by itself fails; an operation begins again, though it holds a row of an earlier query.
    void expectThatNothingIsMixed() const {
        CppSQLite3DB db;
        db.open(file);
        {
            CppSQLite3Query rows = db.execQuery("SELECT V FROM T");
            change(7);
            EXPECT_EQ(fixtures::failureOf([&] {
                          for (; !rows.eof(); rows.nextRow()) {
                              EXPECT_EQ(rows.getIntField(0), 0);
                          }
                      }),
                      kTryAgain);
        }
        EXPECT_EQ(smallestAndLargest(db), "77");
    }

    void expectThatOperationsBeginAgain() const {
        CppSQLite3DB db;
        db.open(file);
        int runs = 0;
        const auto found = db.inTransaction([&] {
            const CppSQLite3Query earlier = db.execQuery("SELECT V FROM T");
            if (++runs == 1) {
                change(7);
            }
            std::string later;
            try {
                later = db.inTransaction([&] { return smallestAndLargest(db); });
            } catch (const CppSQLite3Exception&) {
                throw std::runtime_error("hides what happened");
            }
            return earlier.getStringField(0) + later;
        });
        EXPECT_EQ(found, "777");
        EXPECT_EQ(runs, 2);
        change(8);
        EXPECT_EQ(smallestAndLargest(db), "88") << "the transaction has ended";
    }

    static std::string smallestAndLargest(CppSQLite3DB& db) {
        const CppSQLite3Query row = db.execQuery("SELECT min(V), max(V) FROM T");
        return row.getStringField(0) + row.getStringField(1);
    }

    void leaveALogWithoutIndex() const {
        WriterProcess killed(file);
        ASSERT_EQ(killed.execute("CREATE TABLE U (A)"), "");
        killed.kill();
        fs::remove(directory / "db-shm");
    }

    fixtures::TempDirectory directory;
    fs::path file = directory / "db";
};

TEST_F(WriterAppears, WhereNoLogWasThere) { expectThatNothingIsMixed(); }
TEST_F(WriterAppears, WhereNoLogWasThereInATransaction) { expectThatOperationsBeginAgain(); }

TEST_F(WriterAppears, WhereALogWithoutIndexWasThere) {
    leaveALogWithoutIndex();
    expectThatNothingIsMixed();
}

TEST_F(WriterAppears, WhereALogWithoutIndexWasThereInATransaction) {
    leaveALogWithoutIndex();
    expectThatOperationsBeginAgain();
}

// With a rollback journal it waits for readers, and they for it, or it would never get its turn.
TEST_F(WriterAppears, NoReaderComesWhileItWaits) {
    WriterProcess reader(file);
    ASSERT_EQ(reader.execute("PRAGMA journal_mode=DELETE; BEGIN; SELECT V FROM T"), "");
    WriterProcess writer(file);
    EXPECT_EQ(writer.execute("BEGIN; UPDATE T SET V=7; COMMIT"), "database is locked");
    CppSQLite3DB db;
    db.open(file);
    EXPECT_EQ(fixtures::failureOf([&] { smallestAndLargest(db); }), "database is locked");
    EXPECT_EQ(reader.execute("COMMIT"), "");
    EXPECT_EQ(writer.execute("COMMIT"), "");
    EXPECT_EQ(smallestAndLargest(db), "77");
}

}  // namespace
