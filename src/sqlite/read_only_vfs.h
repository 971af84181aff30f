#pragma once

#include <string>

#include <sqlite3.h>

// SQLite's access to the files of one connection that leaves no trace: nothing is written, created or deleted, not even
// what SQLite would make beside a database in write-ahead mode. What others write meanwhile is noticed:
//
// - While a database in write-ahead mode has no log, its own file holds everything. SQLite is shown the header of a
//   database in rollback mode then, and so reads under a shared lock and looks for a log before each transaction.
// - A log is read with the index that its writer keeps beside it, or with one in memory when there is none.
// - A writer copies its log into the database whatever the shared lock, but before that it makes the log, and then the
//   index. Where one of them appears in the middle of a transaction, reading ends with SQLITE_BUSY_SNAPSHOT; beginning anew
//   gets it right.
//
// Pages are read, never mapped: a file that is cut costs an error and not the process.
class ReadOnlyVfs {
public:
    // For the database of this absolute name, which is no symbolic link.
    explicit ReadOnlyVfs(const std::string& database);
    ReadOnlyVfs(const ReadOnlyVfs&) = delete;
    ReadOnlyVfs& operator=(const ReadOnlyVfs&) = delete;

    // Opens with the URI of the name. This object must live until the connection is closed.
    int connect(const std::string& uri, sqlite3** connection);

private:
    // The methods of an open file, some of them replaced, and whose they are.
    struct Methods {
        sqlite3_io_methods table;  // first: what SQLite sees of it
        const sqlite3_io_methods* original;
        ReadOnlyVfs* owner;
    };
    static Methods& methodsOf(sqlite3_file* file);
    void replaceMethods(sqlite3_file* file, Methods& methods);

    static ReadOnlyVfs& ownerOf(sqlite3_vfs* vfs);
    void forwardTheRest();

    static int open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* flagsOut);
    static int access(sqlite3_vfs* vfs, const char* name, int flags, int* result);
    static int fullPathname(sqlite3_vfs* vfs, const char* name, int size, char* result);
    static int readDatabase(sqlite3_file* file, void* buffer, int count, sqlite3_int64 position);
    static int readLog(sqlite3_file* file, void* buffer, int count, sqlite3_int64 position);
    static int mapIndex(sqlite3_file* file, int region, int size, int extend, void volatile** memory);
    static int lockIndex(sqlite3_file* file, int offset, int count, int flags);

    bool isLogInUse() const;
    bool isIndexThere() const;
    void present(unsigned char* bytes, int count, sqlite3_int64 position);
    int checkForWriter() const;

    sqlite3_vfs* const base;
    const std::string log;
    const std::string index;
    const std::string name;
    sqlite3_vfs vfs{};
    Methods databaseMethods{};
    Methods logMethods{};
    bool isWriteAhead = false;  // as its header said last
    bool logIsOpen = false;     // until the connection is closed
    bool indexIsInMemory = false;
};
