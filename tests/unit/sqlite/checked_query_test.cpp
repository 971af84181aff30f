#include <gtest/gtest.h>

#include "analysis-writer/sqlite_database.h"
#include "fixtures/temp_directory.h"
#include "sqlite/cppsqlite3.h"
#include "sqlite/cppsqlite_tools.h"

namespace {

using lumo::sqlite::simpleCheckedOptionalQuery;
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
        try {
            simpleCheckedQuery<T>(db, sql);
        } catch (const std::exception& e) {
            return e.what();
        }
        return "none";
    }

    fixtures::TempDirectory directory;
    CppSQLite3DB db;
};

TEST_F(CheckedQuery, ConvertsWholeTextsWithinRange) {
    EXPECT_EQ(simpleCheckedQuery<std::int32_t>(db, "SELECT '-2147483648'"), INT32_MIN);
    EXPECT_EQ(simpleCheckedQuery<std::int32_t>(db, "SELECT '+3'"), 3);
    EXPECT_EQ(simpleCheckedQuery<std::uint32_t>(db, "SELECT 4294967295"), UINT32_MAX);
    EXPECT_EQ(simpleCheckedQuery<std::int64_t>(db, "SELECT 9223372036854775807"), INT64_MAX);
    EXPECT_EQ(simpleCheckedQuery<bool>(db, "SELECT '1'"), true);
    EXPECT_EQ(simpleCheckedQuery<bool>(db, "SELECT 0"), false);
    EXPECT_EQ(simpleCheckedQuery<std::string>(db, "SELECT ' a b '"), " a b ");
    EXPECT_EQ(simpleCheckedOptionalQuery<std::int32_t>(db, "SELECT A FROM T WHERE A = 2"), std::nullopt);
}

TEST_F(CheckedQuery, RefusesEverythingElseWithTheQuery) {
    const std::string wrongType = "Query result has wrong type: ";
    for (const char* value :
         {"''", "' 3'", "'3 '", "'3.0'", "3.5", "'0x3'", "'--3'", "'3' || char(0)", "2147483648"}) {
        const std::string sql = std::string("SELECT ") + value;
        EXPECT_EQ(failure<std::int32_t>(sql), wrongType + sql);
    }
    for (const char* value : {"'true'", "'2'", "'+1'", "'00'", "''", "'-0'"}) {
        const std::string sql = std::string("SELECT ") + value;
        EXPECT_EQ(failure<bool>(sql), wrongType + sql);
    }
    EXPECT_EQ(failure<bool>("SELECT NULL"), "Query result unexpectedly NULL: SELECT NULL");
    EXPECT_EQ(failure<bool>("SELECT 1 WHERE 0"), "Query result unexpectedly empty: SELECT 1 WHERE 0");
    EXPECT_EQ(failure<bool>("SELECT 1 UNION ALL SELECT 1"),
              "Query resulted in more than one result: SELECT 1 UNION ALL SELECT 1");
    EXPECT_EQ(failure<bool>("SELECT C FROM T"), "no such column: C");
}

TEST_F(CheckedQuery, FailureInALaterRowIsReportedAndLeavesTheConnectionUsable) {
    const std::string sql = "SELECT 1 UNION ALL SELECT abs(-9223372036854775808)";
    EXPECT_EQ(failure<bool>(sql), "integer overflow");
    EXPECT_EQ(simpleCheckedQuery<std::string>(db, "SELECT B FROM T"), "x");
}

TEST_F(CheckedQuery, ConnectionNeverWrites) {
    EXPECT_THROW(db.execDML("INSERT INTO T VALUES (2, 'y')"), CppSQLite3Exception);
    EXPECT_THROW(CppSQLite3DB().open(directory / "missing"), CppSQLite3Exception);
    EXPECT_FALSE(std::filesystem::exists(directory / "missing"));
}

TEST_F(CheckedQuery, StatementIsResetAfterEachUse) {
    CppSQLite3Statement statement = db.compileStatement("SELECT ?1 || B FROM T");
    for (const char* value : {"a", "b", "c'\""}) {
        statement.bind(1, std::string(value));
        EXPECT_EQ(statement.execQuery().getStringField(0), std::string(value) + "x");
    }
}

}  // namespace
