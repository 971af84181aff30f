#pragma once

#include <filesystem>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "analysis-writer/little_endian.h"

struct sqlite3;
struct sqlite3_stmt;

namespace analysis_writer {

using SqlValue = std::variant<std::monostate, std::int64_t, double, std::string, Bytes>;

// An absent value becomes NULL.
template <typename T>
SqlValue sqlValue(const std::optional<T>& value) {
    return value ? SqlValue(*value) : SqlValue();
}

// A new database file. Every failure is a std::runtime_error with the statement and SQLite's own
// message.
class SqliteDatabase {
public:
    // Fails when the file exists already.
    explicit SqliteDatabase(const std::filesystem::path& path);

    // Any number of statements; rows that they return are ignored.
    void execute(const std::string& sql);

    // Compiles once, then runs the statement with these values; compile a Statement for bulk work.
    void run(const std::string& sql, std::initializer_list<SqlValue> values);

    sqlite3* handle() const { return connection.get(); }

private:
    struct Close {
        void operator()(sqlite3* connection) const;
    };
    std::unique_ptr<sqlite3, Close> connection;
};

// A compiled statement that returns no rows. The database must outlive it.
class SqliteStatement {
public:
    SqliteStatement(SqliteDatabase& database, const std::string& sql);

    // Binds parameter `position`, counted from 1.
    void bind(int position, const SqlValue& value);

    // Executes with the bound values and leaves all parameters NULL for the next execution.
    void execute();
    void run(std::initializer_list<SqlValue> values);

private:
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const;
    };
    [[noreturn]] void fail() const;

    std::unique_ptr<sqlite3_stmt, Finalize> statement;
};

}  // namespace analysis_writer
