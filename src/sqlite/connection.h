#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>

#include <sqlite3.h>

#include "sqlite/database_file.h"
#include "sqlite/read_only_vfs.h"
#include "sqlite/work_limit.h"
#include "sys/fork_gate.h"

namespace lumo::sqlite {

// Raises CppSQLite3Exception with the message of the connection, or of the code if there is no connection,
// and what can be done about it.
[[noreturn]] void raiseSqliteError(sqlite3* db, int code);

// A connection to one database for reading, with everything that SQLite needs for its lifetime: the file's
// name, the file system layer and the limit of work. The order of the members matters: what comes first is
// destroyed last. Shared by the statements that were compiled on it; used by one thread at a time.
struct Connection {
    // How often something is tried that a writer came in the way of.
    static constexpr int kAttempts = 40;
    static void pauseBefore(int attempt);

    explicit Connection(const std::filesystem::path& path)
        : file(path), vfs(file.name()), workLimit(file.name()) {}
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    void open();

    void beginTransaction();
    void endTransaction() noexcept;

    // Runs an operation of SQLite's, and runs it again while a writer that has just come or gone stands in
    // its way, up to kAttempts times. Within a transaction that would be of no use: rows of it have been seen
    // already.
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

    // Whether a failure is one that a writer caused, which is gone if everything is done again. Remembers it
    // in `writerCame`.
    bool notice(int code) noexcept;

    // In a forked child, a connection of its parent is refused.
    void requireOwnProcess() const;

    DatabaseFile file;
    ReadOnlyVfs vfs;
    WorkLimit workLimit;
    sqlite3* db = nullptr;
    sqlite3_stmt* beginStatement = nullptr;
    sqlite3_stmt* endStatement = nullptr;
    int transactions = 0;                     // one within the other
    std::optional<std::int64_t> dataVersion;  // in the current one, once it was asked for
    bool writerCame = false;                  // which was the last failure
    const unsigned generation = sys::forkGeneration();

private:
    int run(sqlite3_stmt* statement) const;

    template <class Something>
    int beginOnce(const Something& something) {
        const sys::InsideForkGate gate;
        vfs.noticeWriters();
        return something();
    }
};

// A compiled statement. It holds the connection, so it may outlive the CppSQLite3DB that it came from.
struct Statement {
    Statement(std::shared_ptr<Connection> ofConnection, sqlite3_stmt* compiled, std::size_t length)
        : connection(std::move(ofConnection)), handle(compiled), textLength(length) {}
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement() {
        const sys::InsideForkGate gate;
        sqlite3_finalize(handle);
    }

    const std::shared_ptr<Connection> connection;
    sqlite3_stmt* const handle;
    const std::size_t textLength;
};

}  // namespace lumo::sqlite
