#include "sqlite/connection.h"

#include <chrono>
#include <string>
#include <thread>

#include "diag/throwable.h"
#include "sqlite/exception.h"

namespace lumo::sqlite {

// A connection, the transaction that is open on it, and beginning again when a writer came between. All calls
// that may take one of SQLite's locks are made inside the fork gate.
using sys::InsideForkGate;

namespace {

// The largest text, blob or row. A schema could compute a gigabyte otherwise.
constexpr int kMaxValueBytes = 16 << 20;

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

}  // namespace

void raiseSqliteError(sqlite3* db, int code) {
    const char* const message = db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(code);
    if (message == nullptr) {
        LUMO_THROW(CppSQLite3Exception(code, "out of memory"));
    }
    const char* const explanation = hint(db != nullptr ? sqlite3_extended_errcode(db) : code);
    LUMO_THROW(CppSQLite3Exception(code, std::string(message) + explanation));
}

// The first repetition comes without a pause: mostly the writer is done by then.
void Connection::pauseBefore(int attempt) {
    if (attempt > 2) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

Connection::~Connection() {
    const InsideForkGate gate;
    sqlite3_finalize(beginStatement);
    sqlite3_finalize(endStatement);
    sqlite3_close(db);
}

void Connection::open() {
    const InsideForkGate gate;
    if (const int code = vfs.connect(&db); code != SQLITE_OK) {
        raiseSqliteError(db, code);
    }
    // The file may come from anywhere: nothing in its schema may run functions with side effects.
    sqlite3_db_config(db, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(db, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_limit(db, SQLITE_LIMIT_LENGTH, kMaxValueBytes);
    workLimit.watch(db);
    // Compiled here: ending a transaction must not fail, and compiling takes memory.
    for (const auto& [text, statement] :
         {std::pair("BEGIN", &beginStatement), std::pair("COMMIT", &endStatement)}) {
        if (const int code = sqlite3_prepare_v2(db, text, -1, statement, nullptr); code != SQLITE_OK) {
            raiseSqliteError(db, code);
        }
    }
}

// SQLite begins to read with the first statement and not here, so what is seen is the state of the database
// at that moment. Transactions may be nested; only the outermost one begins and ends.
void Connection::beginTransaction() {
    requireOwnProcess();
    if (transactions == 0) {
        writerCame = false;
        dataVersion.reset();
        if (const int code = run(beginStatement); code != SQLITE_DONE) {
            raiseSqliteError(db, code);
        }
    }
    ++transactions;
}

void Connection::endTransaction() noexcept {
    --transactions;
    for (int attempt = 0; attempt < 2 && transactions == 0 && sqlite3_get_autocommit(db) == 0; ++attempt) {
        run(endStatement);
    }
}

// SQLite says the same, "busy" or "read-only", of failures that pass and of those that stay; the extended
// code tells them apart.
bool Connection::notice(int code) noexcept {
    writerCame = false;
    if ((code & 0xFF) == SQLITE_BUSY || (code & 0xFF) == SQLITE_READONLY) {
        const int reason = sqlite3_extended_errcode(db);
        writerCame = reason == SQLITE_BUSY_SNAPSHOT || reason == SQLITE_READONLY_RECOVERY ||
                     reason == SQLITE_READONLY_CANTINIT;
    }
    return writerCame;
}

void Connection::requireOwnProcess() const {
    if (generation != sys::forkGeneration()) {
        LUMO_THROW(CppSQLite3Exception(
            SQLITE_MISUSE, "the analysis was opened before a fork; open it again in this process"));
    }
}

int Connection::run(sqlite3_stmt* statement) const {
    const InsideForkGate gate;
    const int code = sqlite3_step(statement);
    sqlite3_reset(statement);
    return code;
}

}  // namespace lumo::sqlite
