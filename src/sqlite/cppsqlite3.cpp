#include "sqlite/cppsqlite3.h"

#include <climits>
#include <utility>

#include <sqlite3.h>

#include "diag/throwable.h"
#include "sqlite/database_file.h"
#include "sqlite/read_only_vfs.h"

namespace {

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

// A statement shares the connection, which it may outlive the CppSQLite3DB with.
struct FinalizeStatement {
    std::shared_ptr<SqliteConnection> connection;
    std::size_t textLength;

    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};

}  // namespace

struct SqliteConnection {
    explicit SqliteConnection(const std::filesystem::path& path)
        : file(path), vfs(file.name()), workLimit(file.name()) {}
    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;
    ~SqliteConnection() { sqlite3_close(db); }

    // Does something, and does it anew while a writer that appears or goes in the middle of it stands in its way.
    template <class Something>
    int begin(const Something& something) const {
        constexpr int kAttempts = 40;
        constexpr int kPauseMs = 5;
        int code = something();
        for (int attempt = 1; attempt < kAttempts && shouldTryAgain(code); ++attempt) {
            sqlite3_sleep(attempt > 1 ? kPauseMs : 0);
            code = something();
        }
        return code;
    }

    bool shouldTryAgain(int code) const {
        if ((code & 0xFF) != SQLITE_BUSY && (code & 0xFF) != SQLITE_READONLY) {
            return false;
        }
        const int reason = sqlite3_extended_errcode(db);
        return reason == SQLITE_BUSY_SNAPSHOT || reason == SQLITE_READONLY_RECOVERY ||
               reason == SQLITE_READONLY_CANTINIT;
    }

    DatabaseFile file;
    ReadOnlyVfs vfs;
    WorkLimit workLimit;
    sqlite3* db = nullptr;
};

// ----------------------------------------------------------------------------------------------------------
// query

CppSQLite3Query::CppSQLite3Query(std::shared_ptr<sqlite3_stmt> compiled)
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
    sqlite3_reset(statement.get());
    statement.reset();
    atEnd = true;
}

void CppSQLite3Query::nextRow() {
    if (!atEnd) {
        arriveAt(step());
    }
}

void CppSQLite3Query::first() {
    const auto* const owner = std::get_deleter<FinalizeStatement>(statement);
    arriveAt(owner == nullptr ? step() : owner->connection->begin([this] {
        sqlite3_reset(statement.get());
        return step();
    }));
}

int CppSQLite3Query::step() {
    const auto* const owner = std::get_deleter<FinalizeStatement>(statement);
    if (owner == nullptr) {
        return SQLITE_MISUSE;
    }
    WorkLimit& workLimit = owner->connection->workLimit;
    work.textLength = owner->textLength;
    workLimit.charge(work);
    const int code = sqlite3_step(statement.get());
    workLimit.endCharge();
    return code;
}

void CppSQLite3Query::arriveAt(int code) {
    atEnd = code != SQLITE_ROW;
    if (atEnd && code != SQLITE_DONE) {
        raise(sqlite3_db_handle(statement.get()), code);
    }
}

int CppSQLite3Query::numFields() const {
    return statement != nullptr ? sqlite3_column_count(statement.get()) : 0;
}

CppSQLite3FieldType CppSQLite3Query::fieldType(int field) const {
    if (atEnd || field < 0 || field >= numFields()) {
        return CppSQLite3FieldType::Null;
    }
    switch (sqlite3_column_type(statement.get(), field)) {
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
    return fieldIsNull(field) ? nullValue : sqlite3_column_int64(statement.get(), field);
}

int CppSQLite3Query::getIntField(int field, int nullValue) const {
    return fieldIsNull(field) ? nullValue : sqlite3_column_int(statement.get(), field);
}

double CppSQLite3Query::getFloatField(int field, double nullValue) const {
    return fieldIsNull(field) ? nullValue : sqlite3_column_double(statement.get(), field);
}

std::string CppSQLite3Query::getStringField(int field, const std::string& nullValue) const {
    if (fieldIsNull(field)) {
        return nullValue;
    }
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), field));
    if (text == nullptr) {
        raise(sqlite3_db_handle(statement.get()), SQLITE_NOMEM);
    }
    return {text, static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), field))};
}

std::vector<std::byte> CppSQLite3Query::getBlobField(int field) const {
    if (fieldIsNull(field)) {
        return {};
    }
    const auto* const bytes = static_cast<const std::byte*>(sqlite3_column_blob(statement.get(), field));
    const int count = sqlite3_column_bytes(statement.get(), field);
    return bytes == nullptr ? std::vector<std::byte>() : std::vector<std::byte>(bytes, bytes + count);
}

// ------------------------------------------------------------------------------------------------------
// statement

void CppSQLite3Statement::bind(int parameter, std::int64_t value) {
    if (const int code = sqlite3_bind_int64(statement.get(), parameter, value); code != SQLITE_OK) {
        raise(sqlite3_db_handle(statement.get()), code);
    }
}

void CppSQLite3Statement::bind(int parameter, const std::string& value) {
    const int code = sqlite3_bind_text64(statement.get(), parameter, value.data(), value.size(),
                                         SQLITE_TRANSIENT, SQLITE_UTF8);
    if (code != SQLITE_OK) {
        raise(sqlite3_db_handle(statement.get()), code);
    }
}

CppSQLite3Query CppSQLite3Statement::execQuery() { return CppSQLite3Query(statement); }

// -----------------------------------------------------------------------------------------------------
// connection

CppSQLite3DB::~CppSQLite3DB() { close(); }

void CppSQLite3DB::open(const std::filesystem::path& file) {
    close();
    auto opened = std::make_shared<SqliteConnection>(file);
    if (!opened->file.isPlain()) {
        LUMO_THROW(CppSQLite3Exception(SQLITE_CANTOPEN, sqlite3_errstr(SQLITE_CANTOPEN)));
    }
    if (const int code = opened->vfs.connect(opened->file.uri(), &opened->db); code != SQLITE_OK) {
        raise(opened->db, code);
    }
    sqlite3* const db = opened->db;
    // The file may come from anywhere: nothing in its schema may run functions with side effects.
    sqlite3_db_config(db, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(db, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_limit(db, SQLITE_LIMIT_LENGTH, kMaxValueBytes);
    opened->workLimit.watch(db);
    connection = std::move(opened);
}

void CppSQLite3DB::close() noexcept { connection.reset(); }

std::shared_ptr<sqlite3_stmt> CppSQLite3DB::prepare(const std::string& sql) {
    if (connection == nullptr) {
        LUMO_THROW(CppSQLite3Exception(SQLITE_MISUSE, sqlite3_errstr(SQLITE_MISUSE)));
    }
    sqlite3* const db = connection->db;
    sqlite3_stmt* statement = nullptr;
    const int size = sql.size() < INT_MAX ? static_cast<int>(sql.size()) : -1;
    const int code =
        connection->begin([&] { return sqlite3_prepare_v2(db, sql.c_str(), size, &statement, nullptr); });
    if (code != SQLITE_OK) {
        raise(db, code);
    }
    return {statement, FinalizeStatement{connection, sql.size()}};
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

LUMO_THROWABLE(CppSQLite3Exception);
