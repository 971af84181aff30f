#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <utility>

#include <sqlite3.h>

#include "sqlite/database_file.h"
#include "sqlite/read_only_vfs.h"
#include "sqlite/work_limit.h"
#include "sys/fork_gate.h"

namespace lumo::sqlite {

// Raises CppSQLite3Exception with SQLite's message, of the connection if there is one, and what can be done.
[[noreturn]] void raiseSqliteError(sqlite3* db, int code);

// A connection to one database for reading, with what it needs for its lifetime.
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

    // Does something, and does it again while a writer that comes or goes in the middle of it stands in its
    // way. Within a transaction that is of no use.
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
    bool notice(int code) noexcept;

    // In a forked child, a connection of its parent is refused.
    void requireOwnProcess() const;

    DatabaseFile file;
    ReadOnlyVfs vfs;
    WorkLimit workLimit;
    sqlite3* db = nullptr;
    sqlite3_stmt* beginStatement = nullptr;
    sqlite3_stmt* endStatement = nullptr;
    int transactions = 0;     // one within the other
    bool writerCame = false;  // which was the last failure
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

// A compiled statement. Shares the connection, which it may outlive the CppSQLite3DB with.
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
