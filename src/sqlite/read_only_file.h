#pragma once

#include <sqlite3.h>

#include "sqlite/open_file.h"

namespace lumo::sqlite {

class ReadOnlyVfs;

// A database, log or journal as SQLite handles it: made in memory that SQLite gives, and told apart by its methods. The
// locks are those of SQLite's own files, at the same bytes, so that all its copies understand each other.
struct ReadOnlyFile : sqlite3_file {
    static int open(const char* name, sqlite3_file* memory, int flags, ReadOnlyVfs& owner);

    ReadOnlyVfs* owner;
    OpenFile* file;  // null for a journal that its writer has just deleted, which reads as empty
    bool isLocked;
};

}  // namespace lumo::sqlite
