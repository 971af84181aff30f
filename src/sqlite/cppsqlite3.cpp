#include "sqlite/cppsqlite3.h"

#include <chrono>
#include <climits>
#include <thread>
#include <utility>

#include <sqlite3.h>

#include "diag/throwable.h"
#include "sqlite/database_file.h"
#include "sqlite/read_only_vfs.h"
#include "sys/fork_gate.h"

namespace {

using lumo::sqlite::ReadOnlyVfs;
using lumo::sys::InsideForkGate;

// How often something is tried that a writer came in the way of.
constexpr int kAttempts = 40;

void pauseBefore(int attempt) {
    if (attempt > 2) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

// What can be done about failures that SQLite's message alone does not explain.
const char* hint(int extendedCode) {
    switch (extendedCode) {
        case SQLITE_READONLY_ROLLBACK:
            return " (a change of it was not finished; open it for writing once, which takes the change "
                   "back)";
        case SQLITE_READONLY_RECOVERY:
        case SQLITE_READONLY_CANTINIT:
            return " (the index of its write-ahead log is not usable; open it for writing once)";
        case SQLITE_BUSY_SNAPSHOT:
            return " (another program has begun to write it; try again)";
        default:
            return "";
    }
}

[[noreturn]] void raise(sqlite3* db, int code) {
    const char* const message = db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(code);
    if (message == nullptr) {
        LUMO_THROW(CppSQLite3Exception(code, "out of memory"));
    }
    const char* const explanation = hint(db != nullptr ? sqlite3_extended_errcode(db) : code);
    LUMO_THROW(CppSQLite3Exception(code, std::string(message) + explanation));
}

// The largest text, blob or row, which a schema could otherwise compute to be a gigabyte.
constexpr int kMaxValueBytes = 16 << 20;

}  // namespace

struct SqliteConnection {
    explicit SqliteConnection(const std::filesystem::path& path)
        : file(path), vfs(file.name()), workLimit(file.name()) {}
    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;
    ~SqliteConnection() {
        const InsideForkGate gate;
        sqlite3_finalize(beginStatement);
        sqlite3_finalize(endStatement);
        sqlite3_close(db);
    }

    void open();

    void beginTransaction();
    void endTransaction() noexcept;

    // Does something, and does it again while a writer that comes or goes in the middle of it stands in its way. Within a
    // transaction that is of no use.
    template <class Something>
    int begin(const Something& something) {
        requireOwnProcess();
        for (int attempt = 1;; ++attempt) {
            const int code = beginOnce(something);
            if (!notice(code) || transactions > 0 || attempt == kAttempts) {
                return code;
            }
            pauseBefore(attempt + 1);
        }
    }

    // Whether the failure is one that a writer made, which is gone if everything is done again.
    bool notice(int code) {
        writerCame = false;
        if ((code & 0xFF) == SQLITE_BUSY || (code & 0xFF) == SQLITE_READONLY) {
            const int reason = sqlite3_extended_errcode(db);
            writerCame = reason == SQLITE_BUSY_SNAPSHOT || reason == SQLITE_READONLY_RECOVERY ||
                         reason == SQLITE_READONLY_CANTINIT;
        }
        return writerCame;
    }

    void requireOwnProcess() const {
        if (generation != lumo::sys::forkGeneration()) {
            LUMO_THROW(CppSQLite3Exception(
                SQLITE_MISUSE, "the analysis was opened before a fork; open it again in this process"));
        }
    }

    DatabaseFile file;
    ReadOnlyVfs vfs;
    WorkLimit workLimit;
    sqlite3* db = nullptr;
    sqlite3_stmt* beginStatement = nullptr;
    sqlite3_stmt* endStatement = nullptr;
    int transactions = 0;     // one within the other
    bool writerCame = false;  // which was the last failure
    const unsigned generation = lumo::sys::forkGeneration();

private:
    int run(sqlite3_stmt* statement) const {
        const InsideForkGate gate;
        const int code = sqlite3_step(statement);
        sqlite3_reset(statement);
        return code;
    }

    template <class Something>
    int beginOnce(const Something& something) {
        const InsideForkGate gate;
        vfs.noticeWriters();
        return something();
    }
};

// Shares the connection, which it may outlive the CppSQLite3DB with.
struct SqliteStatement {
    SqliteStatement(std::shared_ptr<SqliteConnection> ofConnection, sqlite3_stmt* compiled,
                    std::size_t length)
        : connection(std::move(ofConnection)), handle(compiled), textLength(length) {}
    SqliteStatement(const SqliteStatement&) = delete;
    SqliteStatement& operator=(const SqliteStatement&) = delete;
    ~SqliteStatement() {
        const InsideForkGate gate;
        sqlite3_finalize(handle);
    }

    const std::shared_ptr<SqliteConnection> connection;
    sqlite3_stmt* const handle;
    const std::size_t textLength;
};

// ----------------------------------------------------------------------------------------------------------
// query

sqlite3_stmt* CppSQLite3Query::handle() const noexcept {
    return statement != nullptr ? statement->handle : nullptr;
}

CppSQLite3Query::CppSQLite3Query(std::shared_ptr<SqliteStatement> compiled)
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

void CppSQLite3Query::nextRow() {
    if (!atEnd) {
        statement->connection->requireOwnProcess();
        const int code = step();
        statement->connection->notice(code);
        arriveAt(code);
    }
}

void CppSQLite3Query::first() {
    arriveAt(statement->connection->begin([this] {
        sqlite3_reset(handle());
        return step();
    }));
}

int CppSQLite3Query::step() {
    WorkLimit& workLimit = statement->connection->workLimit;
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
        raise(statement->connection->db, code);
    }
}

int CppSQLite3Query::numFields() const { return statement != nullptr ? sqlite3_column_count(handle()) : 0; }

CppSQLite3FieldType CppSQLite3Query::fieldType(int field) const {
    if (atEnd || field < 0 || field >= numFields()) {
        return CppSQLite3FieldType::Null;
    }
    switch (sqlite3_column_type(handle(), field)) {
        case SQLITE_INTEGER:
            return CppSQLite3FieldType::Integer;
        case SQLITE_FLOAT:
            return CppSQLite3FieldType::Real;
        case SQLITE_TEXT:
            return CppSQLite3FieldType::Text;
        case SQLITE_BLOB:
            return CppSQLite3FieldType::Blob;
        default:
            return CppSQLite3FieldType::Null;
    }
}

std::int64_t CppSQLite3Query::getInt64Field(int field, std::int64_t nullValue) const {
    return fieldIsNull(field) ? nullValue : sqlite3_column_int64(handle(), field);
}

int CppSQLite3Query::getIntField(int field, int nullValue) const {
    return fieldIsNull(field) ? nullValue : sqlite3_column_int(handle(), field);
}

double CppSQLite3Query::getFloatField(int field, double nullValue) const {
    return fieldIsNull(field) ? nullValue : sqlite3_column_double(handle(), field);
}

std::string CppSQLite3Query::getStringField(int field, const std::string& nullValue) const {
    if (fieldIsNull(field)) {
        return nullValue;
    }
    const InsideForkGate gate;
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(handle(), field));
    if (text == nullptr) {
        raise(statement->connection->db, SQLITE_NOMEM);
    }
    return {text, static_cast<std::size_t>(sqlite3_column_bytes(handle(), field))};
}

std::vector<std::byte> CppSQLite3Query::getBlobField(int field) const {
    if (fieldIsNull(field)) {
        return {};
    }
    const InsideForkGate gate;
    const auto* const bytes = static_cast<const std::byte*>(sqlite3_column_blob(handle(), field));
    const int count = sqlite3_column_bytes(handle(), field);
    return bytes == nullptr ? std::vector<std::byte>() : std::vector<std::byte>(bytes, bytes + count);
}

// ------------------------------------------------------------------------------------------------------
// statement

void CppSQLite3Statement::bind(int parameter, std::int64_t value) {
    if (const int code = sqlite3_bind_int64(statement->handle, parameter, value); code != SQLITE_OK) {
        raise(statement->connection->db, code);
    }
}

CppSQLite3Query CppSQLite3Statement::execQuery() { return CppSQLite3Query(statement); }

// -----------------------------------------------------------------------------------------------------
// connection

namespace {

void requireOpen(const std::shared_ptr<SqliteConnection>& connection) {
    if (connection == nullptr) {
        LUMO_THROW(CppSQLite3Exception(SQLITE_MISUSE, sqlite3_errstr(SQLITE_MISUSE)));
    }
}

}  // namespace

CppSQLite3DB::~CppSQLite3DB() { close(); }

void SqliteConnection::open() {
    const InsideForkGate gate;
    if (const int code = vfs.connect(&db); code != SQLITE_OK) {
        raise(db, code);
    }
    // The file may come from anywhere: nothing in its schema may run functions with side effects.
    sqlite3_db_config(db, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(db, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_limit(db, SQLITE_LIMIT_LENGTH, kMaxValueBytes);
    workLimit.watch(db);
    for (const auto& [text, statement] :
         {std::pair("BEGIN", &beginStatement), std::pair("COMMIT", &endStatement)}) {
        if (const int code = sqlite3_prepare_v2(db, text, -1, statement, nullptr); code != SQLITE_OK) {
            raise(db, code);
        }
    }
}

void SqliteConnection::beginTransaction() {
    requireOwnProcess();
    if (transactions == 0) {
        writerCame = false;
        if (const int code = run(beginStatement); code != SQLITE_DONE) {
            raise(db, code);
        }
    }
    ++transactions;
}

void SqliteConnection::endTransaction() noexcept {
    --transactions;
    for (int attempt = 0; attempt < 2 && transactions == 0 && sqlite3_get_autocommit(db) == 0; ++attempt) {
        run(endStatement);
    }
}

void CppSQLite3DB::open(const std::filesystem::path& file) {
    close();
    auto opened = std::make_shared<SqliteConnection>(file);
    if (!opened->file.isPlain()) {
        LUMO_THROW(CppSQLite3Exception(SQLITE_CANTOPEN, sqlite3_errstr(SQLITE_CANTOPEN)));
    }
    opened->open();
    connection = std::move(opened);
}

void CppSQLite3DB::close() noexcept { connection.reset(); }

std::shared_ptr<SqliteStatement> CppSQLite3DB::prepare(const std::string& sql) {
    requireOpen(connection);
    sqlite3* const db = connection->db;
    sqlite3_stmt* statement = nullptr;
    const int size = sql.size() < INT_MAX ? static_cast<int>(sql.size()) : -1;
    const int code =
        connection->begin([&] { return sqlite3_prepare_v2(db, sql.c_str(), size, &statement, nullptr); });
    if (code != SQLITE_OK) {
        raise(db, code);
    }
    try {
        return std::make_shared<SqliteStatement>(connection, statement, sql.size());
    } catch (...) {
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

CppSQLite3DB::ReadTransaction::ReadTransaction(std::shared_ptr<SqliteConnection> ofConnection)
    : connection(std::move(ofConnection)) {
    requireOpen(connection);
    connection->beginTransaction();
}

CppSQLite3DB::ReadTransaction::~ReadTransaction() { connection->endTransaction(); }

bool CppSQLite3DB::shouldRepeat(int attempt) const {
    if (connection == nullptr || connection->transactions > 0 || attempt == kAttempts ||
        !std::exchange(connection->writerCame, false)) {
        return false;
    }
    pauseBefore(attempt + 1);
    return true;
}

LUMO_THROWABLE(CppSQLite3Exception);
