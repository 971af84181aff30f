#include "analysis-writer/sqlite_database.h"

#include <sqlite3.h>

#include <stdexcept>

// A thin layer over SQLite for writing. It shares nothing with the readers' layer, whose rules (nothing
// written, nothing trusted) are the opposite of its own.
namespace analysis_writer {

namespace {

[[noreturn]] void failWith(sqlite3* connection, const std::string& what) {
    const char* reason = connection != nullptr ? sqlite3_errmsg(connection) : "out of memory";
    throw std::runtime_error(what + ": " + reason);
}

// SQLITE_TRANSIENT without its C cast: SQLite keeps its own copy of bound texts and blobs.
const auto kCopy = reinterpret_cast<sqlite3_destructor_type>(std::intptr_t{-1});

struct Binder {
    sqlite3_stmt* statement;
    int position;

    int operator()(std::monostate) const { return sqlite3_bind_null(statement, position); }
    int operator()(std::int64_t value) const { return sqlite3_bind_int64(statement, position, value); }
    int operator()(double value) const { return sqlite3_bind_double(statement, position, value); }
    int operator()(const std::string& value) const {
        return sqlite3_bind_text64(statement, position, value.data(), value.size(), kCopy, SQLITE_UTF8);
    }
    int operator()(const Bytes& value) const {
        if (value.empty())
            return sqlite3_bind_zeroblob(statement, position, 0);
        return sqlite3_bind_blob64(statement, position, value.data(), value.size(), kCopy);
    }
};

}  // namespace

void SqliteDatabase::Close::operator()(sqlite3* opened) const { sqlite3_close_v2(opened); }

SqliteDatabase::SqliteDatabase(const std::filesystem::path& path) {
    if (std::filesystem::exists(path))
        throw std::runtime_error(path.string() + " exists already");
    sqlite3* opened = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    const int status = sqlite3_open_v2(path.string().c_str(), &opened, flags, nullptr);
    connection.reset(opened);
    if (status != SQLITE_OK)
        failWith(opened, "cannot create " + path.string());
    // The files can be made again at any time, so waiting for the disk would only cost time.
    execute("PRAGMA synchronous=OFF; PRAGMA journal_mode=MEMORY");
}

void SqliteDatabase::execute(const std::string& sql) {
    if (sqlite3_exec(connection.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        failWith(connection.get(), sql);
    }
}

void SqliteDatabase::run(const std::string& sql, std::initializer_list<SqlValue> values) {
    SqliteStatement(*this, sql).run(values);
}

void SqliteStatement::Finalize::operator()(sqlite3_stmt* compiled) const { sqlite3_finalize(compiled); }

SqliteStatement::SqliteStatement(SqliteDatabase& database, const std::string& sql) {
    sqlite3_stmt* compiled = nullptr;
    const int status = sqlite3_prepare_v2(database.handle(), sql.c_str(), -1, &compiled, nullptr);
    statement.reset(compiled);
    if (status != SQLITE_OK)
        failWith(database.handle(), sql);
}

void SqliteStatement::bind(int position, const SqlValue& value) {
    if (std::visit(Binder{statement.get(), position}, value) != SQLITE_OK)
        fail();
}

void SqliteStatement::execute() {
    const int status = sqlite3_step(statement.get());
    if (status != SQLITE_DONE && status != SQLITE_ROW)
        fail();
    sqlite3_reset(statement.get());
    sqlite3_clear_bindings(statement.get());
}

void SqliteStatement::run(std::initializer_list<SqlValue> values) {
    int position = 1;
    for (const SqlValue& value : values)
        bind(position++, value);
    execute();
}

void SqliteStatement::fail() const {
    failWith(sqlite3_db_handle(statement.get()), sqlite3_sql(statement.get()));
}

}  // namespace analysis_writer
