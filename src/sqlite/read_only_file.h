#pragma once

#include <sqlite3.h>

#include "sqlite/open_file.h"

namespace lumo::sqlite {

// Knows of all files of one connection, and so what must happen when one of them is read or locked. The codes
// are SQLite's.
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

// A database, log or journal as SQLite handles it: made in memory that SQLite gives, and told apart by its
// methods. The owner must outlive it. The locks are those of SQLite's own files, at the same bytes, so that
// all its copies understand each other.
struct ReadOnlyFile : sqlite3_file {
    static int open(const char* name, sqlite3_file* memory, int flags, FileOwner& owner);

    FileOwner* owner;
    OpenFile* file;  // null for a journal that its writer has just deleted, which reads as empty
    bool isLocked;
};

}  // namespace lumo::sqlite
