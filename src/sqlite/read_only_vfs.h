#pragma once

#include <string>

#include <sqlite3.h>

#include "sqlite/log_index.h"
#include "sqlite/read_only_file.h"

namespace lumo::sqlite {

// SQLite's access to the files of one connection, leaving no trace: nothing is written, created or deleted,
// not even what SQLite would make beside a database in write-ahead mode. What others write in the meantime is
// noticed:
//
// - While a database in write-ahead mode has no log, its own file holds everything. SQLite is then shown the
//   header of a database in rollback mode, and so reads under a shared lock and looks for a log before each
//   transaction.
// - A log is read with the index that its writer keeps beside it, or with one in memory when there is none.
// - A writer copies its log into the database in spite of the shared lock, but before that it makes the log,
//   and then the index. Where one of them appears in the middle of a transaction, reading ends with
//   SQLITE_BUSY_SNAPSHOT, and beginning again gets it right.
//
// Database, log, index and journal are files of this layer's own (OpenFile): SQLite's tables of the process,
// which a forked child would inherit, know nothing of them. Pages are read, never mapped: a file that is cut
// costs an error and not the process. SQLite's temporary files, in which it sorts, are left to SQLite.
class ReadOnlyVfs final : private FileOwner {
public:
    // For the database of this absolute name, which is no symbolic link.
    explicit ReadOnlyVfs(const std::string& database);

    // This object must live until the connection is closed.
    int connect(sqlite3** connection);

    // To be called before anything that may begin a transaction.
    void noticeWriters() noexcept { index.update(); }

private:
    int present(void* bytes, int count, sqlite3_int64 position) override;
    int checkForWriter() const override;
    int mapIndex(int region, int size, void volatile** memory) override;
    int lockIndex(int offset, int count, int flags) override;
    void closeIndex() noexcept override { index.close(); }

    static ReadOnlyVfs& ownerOf(sqlite3_vfs* vfs);
    void forwardTheRest();

    static int open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* flagsOut);
    static int access(sqlite3_vfs* vfs, const char* name, int flags, int* result);
    static int fullPathname(sqlite3_vfs* vfs, const char* name, int size, char* result);

    bool isLogInUse() const;

    sqlite3_vfs* const base;
    const std::string database;
    const std::string log;
    const std::string name;
    LogIndex index;
    sqlite3_vfs vfs{};
    bool isWriteAhead = false;  // as its header said last
    bool logIsOpen = false;     // until the connection is closed
    bool indexIsInMemory = false;
};

}  // namespace lumo::sqlite
