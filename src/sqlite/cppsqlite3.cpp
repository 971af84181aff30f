#include "sqlite/cppsqlite3.h"

#include <climits>
#include <utility>

#include <sqlite3.h>

#include "diag/assert.h"
#include "diag/throwable.h"
#include "sqlite/connection.h"
#include "sys/fork_gate.h"

// Rows, statements and connections, with errors as exceptions. Queries and statements hold the connection,
// which ends with the last of them, so callers may destroy them in any order.
//
// Every call into SQLite that can take one of its locks is made inside the fork gate. Copies of texts and
// blobs are made there too, since SQLite may convert a value in its own memory when it is asked for it.

using lumo::sqlite::Connection;
using lumo::sqlite::FieldType;
using lumo::sqlite::raiseSqliteError;
using lumo::sqlite::Statement;
using lumo::sys::InsideForkGate;

// ----------------------------------------------------------------------------------------------------------
// query

sqlite3_stmt* CppSQLite3Query::handle() const noexcept {
    return statement != nullptr ? statement->handle : nullptr;
}

CppSQLite3Query::CppSQLite3Query(std::shared_ptr<Statement> compiled)
    : statement(std::move(compiled)), atEnd(false) {
    try {
        first();
    } catch (...) {
        release();
        throw;
    }
}

CppSQLite3Query::CppSQLite3Query(CppSQLite3Query&& other) noexcept
    : statement(std::move(other.statement)), work(other.work), atEnd(std::exchange(other.atEnd, true)) {}

CppSQLite3Query& CppSQLite3Query::operator=(CppSQLite3Query&& other) noexcept {
    if (this != &other) {
        release();
        statement = std::move(other.statement);
        work = other.work;
        atEnd = std::exchange(other.atEnd, true);
    }
    return *this;
}

CppSQLite3Query::~CppSQLite3Query() { release(); }

void CppSQLite3Query::release() noexcept {
    {
        const InsideForkGate gate;
        sqlite3_reset(handle());
    }
    statement.reset();
    atEnd = true;
}

// A failure that a writer made is only noticed here: rows have been given out, and whoever took them must
// begin again, as inTransaction() does.
void CppSQLite3Query::nextRow() {
    if (!atEnd) {
        statement->connection->requireOwnProcess();
        const int code = step();
        statement->connection->notice(code);
        arriveAt(code);
    }
}

// Nothing of the result has been seen yet, so a writer who comes between costs no more than beginning again.
void CppSQLite3Query::first() {
    arriveAt(statement->connection->begin([this] {
        sqlite3_reset(handle());
        return step();
    }));
}

// What a query costs is charged to it, however its rows are interleaved with those of others.
int CppSQLite3Query::step() {
    lumo::sqlite::WorkLimit& workLimit = statement->connection->workLimit;
    work.textLength = statement->textLength;
    const InsideForkGate gate;
    workLimit.charge(work);
    const int code = sqlite3_step(handle());
    workLimit.endCharge();
    return code;
}

void CppSQLite3Query::arriveAt(int code) {
    atEnd = code != SQLITE_ROW;
    if (atEnd && code != SQLITE_DONE) {
        raiseSqliteError(statement->connection->db, code);
    }
}

int CppSQLite3Query::numFields() const { return statement != nullptr ? sqlite3_column_count(handle()) : 0; }

bool CppSQLite3Query::hasField(int field) const { return !atEnd && field >= 0 && field < numFields(); }

// SQLite leaves the type of a column that does not exist undefined, so it is not asked.
FieldType CppSQLite3Query::fieldType(int field) const {
    if (!hasField(field)) {
        return FieldType::Null;
    }
    switch (sqlite3_column_type(handle(), field)) {
        case SQLITE_INTEGER:
            return FieldType::Integer;
        case SQLITE_FLOAT:
            return FieldType::Real;
        case SQLITE_TEXT:
            return FieldType::Text;
        case SQLITE_BLOB:
            return FieldType::Blob;
        default:
            return FieldType::Null;
    }
}

// SQLite reads NULL as 0, so the type need not be asked for where that is wanted: in tables it would take
// longer than the number.
std::int64_t CppSQLite3Query::getInt64Field(int field, std::int64_t nullValue) const {
    const bool isNumber = nullValue == 0 ? hasField(field) : !fieldIsNull(field);
    return isNumber ? sqlite3_column_int64(handle(), field) : nullValue;
}

int CppSQLite3Query::getIntField(int field, int nullValue) const {
    return fieldIsNull(field) ? nullValue : sqlite3_column_int(handle(), field);
}

double CppSQLite3Query::getFloatField(int field, double nullValue) const {
    const bool isNumber = nullValue == 0.0 ? hasField(field) : !fieldIsNull(field);
    return isNumber ? sqlite3_column_double(handle(), field) : nullValue;
}

// SQLite gives a null pointer for a value that is not NULL only when it has no memory to convert it.
std::string CppSQLite3Query::getStringField(int field, const std::string& nullValue) const {
    if (fieldIsNull(field)) {
        return nullValue;
    }
    const InsideForkGate gate;
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(handle(), field));
    if (text == nullptr) {
        raiseSqliteError(statement->connection->db, SQLITE_NOMEM);
    }
    return {text, static_cast<std::size_t>(sqlite3_column_bytes(handle(), field))};
}

// A blob of no bytes is a null pointer too.
std::vector<std::byte> CppSQLite3Query::getBlobField(int field) const {
    if (fieldIsNull(field)) {
        return {};
    }
    const InsideForkGate gate;
    const auto* const bytes = static_cast<const std::byte*>(sqlite3_column_blob(handle(), field));
    sqlite3* const db = statement->connection->db;
    if (bytes == nullptr && sqlite3_errcode(db) == SQLITE_NOMEM) {
        raiseSqliteError(db, SQLITE_NOMEM);
    }
    const int count = sqlite3_column_bytes(handle(), field);
    return bytes == nullptr ? std::vector<std::byte>() : std::vector<std::byte>(bytes, bytes + count);
}

// ------------------------------------------------------------------------------------------------------
// statement

void CppSQLite3Statement::bind(int parameter, std::int64_t value) {
    if (const int code = sqlite3_bind_int64(statement->handle, parameter, value); code != SQLITE_OK) {
        raiseSqliteError(statement->connection->db, code);
    }
}

CppSQLite3Query CppSQLite3Statement::execQuery() { return CppSQLite3Query(statement); }

// -----------------------------------------------------------------------------------------------------
// connection

namespace {

void requireOpen(const std::shared_ptr<Connection>& connection) {
    if (connection == nullptr) {
        LUMO_THROW(CppSQLite3Exception(SQLITE_MISUSE, sqlite3_errstr(SQLITE_MISUSE)));
    }
}

}  // namespace

CppSQLite3DB::~CppSQLite3DB() { close(); }

// Side files are looked at before SQLite opens anything, as it would wait for a pipe in the place of one.
void CppSQLite3DB::open(const std::filesystem::path& file) {
    close();
    auto opened = std::make_shared<Connection>(file);
    if (!opened->file.isPlain()) {
        LUMO_THROW(CppSQLite3Exception(SQLITE_CANTOPEN, sqlite3_errstr(SQLITE_CANTOPEN)));
    }
    opened->open();
    connection = std::move(opened);
}

void CppSQLite3DB::close() noexcept {
    versionStatement = {};
    connection.reset();
}

std::shared_ptr<Statement> CppSQLite3DB::prepare(const std::string& sql) {
    requireOpen(connection);
    sqlite3* const db = connection->db;
    sqlite3_stmt* statement = nullptr;
    const int size = sql.size() < INT_MAX ? static_cast<int>(sql.size()) : -1;
    const int code =
        connection->begin([&] { return sqlite3_prepare_v2(db, sql.c_str(), size, &statement, nullptr); });
    if (code != SQLITE_OK) {
        raiseSqliteError(db, code);
    }
    try {
        return std::make_shared<Statement>(connection, statement, sql.size());
    } catch (...) {
        const InsideForkGate gate;
        sqlite3_finalize(statement);
        throw;
    }
}

void CppSQLite3DB::execDML(const std::string& sql) {
    CppSQLite3Query query = execQuery(sql);
    while (!query.eof()) {
        query.nextRow();
    }
}

CppSQLite3Query CppSQLite3DB::execQuery(const std::string& sql) { return CppSQLite3Query(prepare(sql)); }

CppSQLite3Statement CppSQLite3DB::compileStatement(const std::string& sql) {
    return CppSQLite3Statement(prepare(sql));
}

std::int64_t CppSQLite3DB::dataVersion() {
    requireOpen(connection);
    LUMO_ASSERT(connection->transactions > 0);
    if (!connection->dataVersion) {
        if (!versionStatement.isPrepared()) {
            versionStatement = compileStatement("PRAGMA data_version");
        }
        connection->dataVersion = versionStatement.execQuery().getInt64Field(0);
    }
    return *connection->dataVersion;
}

CppSQLite3DB::ReadTransaction::ReadTransaction(std::shared_ptr<Connection> ofConnection)
    : connection(std::move(ofConnection)) {
    requireOpen(connection);
    connection->beginTransaction();
}

CppSQLite3DB::ReadTransaction::~ReadTransaction() { connection->endTransaction(); }

// Only the outermost transaction can begin again, since the inner ones have seen its rows.
bool CppSQLite3DB::shouldRepeat(int attempt) const {
    if (connection == nullptr || connection->transactions > 0 || attempt == Connection::kAttempts ||
        !std::exchange(connection->writerCame, false)) {
        return false;
    }
    connection->pauseBefore(attempt + 1);
    return true;
}

LUMO_THROWABLE(CppSQLite3Exception);
