#pragma once

#include <sqlite3.h>

#include "sqlite/open_file.h"

namespace lumo::sqlite {

// Knows all files of one connection, and so what must happen when one of them is read or locked. Functions
// return SQLite's codes and must not throw.
class FileOwner {
public:
    FileOwner() = default;
    FileOwner(const FileOwner&) = delete;
    FileOwner& operator=(const FileOwner&) = delete;

    virtual int present(void* bytes, int count, sqlite3_int64 position) = 0;  // what was read of the database
    virtual int checkForWriter() const = 0;
    virtual int mapIndex(int region, int size, void volatile** memory) = 0;
    virtual int lockIndex(int offset, int count, int flags) = 0;
    virtual void closeIndex() noexcept = 0;

protected:
    ~FileOwner() = default;
};

// A database, log or journal as SQLite handles it: constructed in memory that SQLite provides, and told apart
// by its table of functions. The owner must outlive it. Locks are those of SQLite's own files, at the same
// bytes, so that all copies of SQLite understand each other.
struct ReadOnlyFile : sqlite3_file {
    static int open(const char* name, sqlite3_file* memory, int flags, FileOwner& owner);

    FileOwner* owner;
    OpenFile* file;  // null for a journal that its writer has just deleted, which reads as empty
    bool isLocked;
};

}  // namespace lumo::sqlite
