#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sqlite/exception.h"
#include "sqlite/work_limit.h"

struct sqlite3_stmt;

namespace lumo::sqlite {

struct Connection;
struct Statement;

enum class FieldType { Integer, Real, Text, Blob, Null };

}  // namespace lumo::sqlite

// The rows of one executed statement, standing on the first row. Move-only. It resets the statement in its
// destructor, and holds it, so it may outlive the CppSQLite3Statement or connection that it came from. Texts
// and blobs are copies.
class CppSQLite3Query {
public:
    CppSQLite3Query() = default;
    explicit CppSQLite3Query(std::shared_ptr<lumo::sqlite::Statement> compiled);
    CppSQLite3Query(CppSQLite3Query&& other) noexcept;
    CppSQLite3Query& operator=(CppSQLite3Query&& other) noexcept;
    ~CppSQLite3Query();

    bool eof() const { return atEnd; }
    // Goes on to the next row. A failure that a writer caused is raised too: rows were given out, so only
    // inTransaction() can begin again.
    void nextRow();

    int numFields() const;
    lumo::sqlite::FieldType fieldType(int field) const;
    bool fieldIsNull(int field) const { return fieldType(field) == lumo::sqlite::FieldType::Null; }

    // NULL, and a field beyond the last column, give the default; values of other types are converted as
    // SQLite does. Ask fieldType() first where a wrong type must not pass for 0.
    std::int64_t getInt64Field(int field, std::int64_t nullValue = 0) const;
    int getIntField(int field, int nullValue = 0) const;
    double getFloatField(int field, double nullValue = 0.0) const;
    std::string getStringField(int field, const std::string& nullValue = {}) const;
    std::vector<std::byte> getBlobField(int field) const;

private:
    sqlite3_stmt* handle() const noexcept;
    bool hasField(int field) const;
    void release() noexcept;
    void first();
    int step();
    void arriveAt(int code);

    std::shared_ptr<lumo::sqlite::Statement> statement;
    lumo::sqlite::WorkLimit::Query work;
    bool atEnd = true;
};

// A compiled statement with parameters, numbered from 1. Move-only; at most one query on it at a time.
class CppSQLite3Statement {
public:
    CppSQLite3Statement() = default;
    explicit CppSQLite3Statement(std::shared_ptr<lumo::sqlite::Statement> compiled)
        : statement(std::move(compiled)) {}
    CppSQLite3Statement(CppSQLite3Statement&&) noexcept = default;
    CppSQLite3Statement& operator=(CppSQLite3Statement&&) noexcept = default;

    void bind(int parameter, std::int64_t value);

    // The query resets this statement when it is destroyed, also when a failure unwinds the stack.
    CppSQLite3Query execQuery();

    bool isPrepared() const { return statement != nullptr; }

private:
    std::shared_ptr<lumo::sqlite::Statement> statement;
};

// A read-only connection: nothing is ever written. The file may be hostile: queries that do not come to an
// end are interrupted, and values of absurd size refused. Used by one thread at a time, and only in the
// process that opened it. What goes wrong raises CppSQLite3Exception.
class CppSQLite3DB {
public:
    CppSQLite3DB() = default;
    CppSQLite3DB(const CppSQLite3DB&) = delete;
    CppSQLite3DB& operator=(const CppSQLite3DB&) = delete;
    ~CppSQLite3DB();

    void open(const std::filesystem::path& file);
    void close() noexcept;

    // Runs a statement to its end and ignores rows.
    void execDML(const std::string& sql);
    CppSQLite3Query execQuery(const std::string& sql);
    CppSQLite3Statement compileStatement(const std::string& sql);

    // Another number whenever somebody has written to the database. To be asked inside of a transaction, where
    // it stays the same; SQLite is asked once in each.
    std::int64_t dataVersion();

    // Runs an operation in one transaction: everything that it reads is of one state of the database. When a
    // writer comes or goes in the middle, which ends the transaction, the operation runs again from its
    // start. So it must first clear what it fills, and must not leave a query standing on a row. Operations
    // within operations are part of the outermost one.
    template <class Operation>
    auto inTransaction(const Operation& operation) {
        for (int attempt = 1;; ++attempt) {
            try {
                const ReadTransaction transaction(connection);
                return operation();
            } catch (...) {
                if (!shouldRepeat(attempt)) {
                    throw;
                }
            }
        }
    }

private:
    class ReadTransaction {
    public:
        explicit ReadTransaction(std::shared_ptr<lumo::sqlite::Connection> ofConnection);
        ReadTransaction(const ReadTransaction&) = delete;
        ReadTransaction& operator=(const ReadTransaction&) = delete;
        ~ReadTransaction();

    private:
        std::shared_ptr<lumo::sqlite::Connection> connection;
    };

    bool shouldRepeat(int attempt) const;
    std::shared_ptr<lumo::sqlite::Statement> prepare(const std::string& sql);

    std::shared_ptr<lumo::sqlite::Connection> connection;  // which statements share
    CppSQLite3Statement versionStatement;                  // compiled when first used
};
