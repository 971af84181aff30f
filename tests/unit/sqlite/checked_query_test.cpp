#include <gtest/gtest.h>

#include "analysis-writer/sqlite_database.h"
#include "fixtures/failure.h"
#include "fixtures/temp_directory.h"
#include "sqlite/cppsqlite3.h"
#include "sqlite/cppsqlite_tools.h"

namespace {

using lumo::sqlite::simpleCheckedQuery;

class CheckedQuery : public testing::Test {
protected:
    void SetUp() override {
        analysis_writer::SqliteDatabase(directory / "db")
            .execute("CREATE TABLE T (A, B); INSERT INTO T VALUES (1, 'x')");
        db.open(directory / "db");
    }

    template <class T>
    std::string failure(const std::string& sql) {
        return fixtures::failureOf([&] { simpleCheckedQuery<T>(db, sql); });
    }

    fixtures::TempDirectory directory;
    CppSQLite3DB db;
};

TEST_F(CheckedQuery, ConvertsWholeTextsWithinRange) {
    EXPECT_EQ(simpleCheckedQuery<std::int32_t>(db, "SELECT '-2147483648'"), INT32_MIN);
    EXPECT_EQ(simpleCheckedQuery<std::uint32_t>(db, "SELECT 4294967295"), UINT32_MAX);
    EXPECT_EQ(simpleCheckedQuery<std::int64_t>(db, "SELECT 9223372036854775807"), INT64_MAX);
    EXPECT_EQ(simpleCheckedQuery<bool>(db, "SELECT '1'"), true);
    EXPECT_EQ(simpleCheckedQuery<bool>(db, "SELECT 0"), false);
    EXPECT_EQ(simpleCheckedQuery<std::string>(db, "SELECT ' a b '"), " a b ");
}

TEST_F(CheckedQuery, RefusesEverythingElseWithTheQuery) {
    const std::string wrongType = "Query result has wrong type: SELECT ";
    for (const std::string value : {"''", "'3 '", "'0x3'", "'--3'", "'3' || char(0)", "2147483648"}) {
        EXPECT_EQ(failure<std::int32_t>("SELECT " + value), wrongType + value);
    }
    for (const std::string value : {"'2'", "'+1'", "'00'", "''", "'-0'"}) {
        EXPECT_EQ(failure<bool>("SELECT " + value), wrongType + value);
    }
    EXPECT_EQ(failure<bool>("SELECT 1 UNION ALL SELECT abs(-9223372036854775808)"), "integer overflow");
    EXPECT_EQ(simpleCheckedQuery<std::string>(db, "SELECT B FROM T"), "x") << "the connection stays usable";
}

TEST_F(CheckedQuery, ConnectionNeverWrites) {
    EXPECT_THROW(db.execDML("INSERT INTO T VALUES (2, 'y')"), CppSQLite3Exception);
    EXPECT_THROW(CppSQLite3DB().open(directory / "missing"), CppSQLite3Exception);
    EXPECT_FALSE(std::filesystem::exists(directory / "missing"));
}

}  // namespace
