#include "sqlite/read_only_file.h"

#include <algorithm>
#include <cerrno>
#include <new>

// SQLite's tables of functions for three kinds of files that are only read. A journal needs reading alone; a
// log is read and watched for writers; a database has locks and the index of the log as well. Locks are taken
// at the bytes where all copies of SQLite take theirs, so that writers and this reader respect each other. No
// function may throw, since SQLite's code is in C.
namespace lumo::sqlite {

namespace {

// Which bytes of a database are locked: one by a writer that is about to have it alone, one by a writer, many
// by readers.
constexpr std::int64_t kPending = 0x40000000;
constexpr std::int64_t kReserved = kPending + 1;
constexpr std::int64_t kShared = kPending + 2;
constexpr std::int64_t kSharedBytes = 510;

constexpr int kSectorBytes = 4096;

ReadOnlyFile& fileOf(sqlite3_file* file) { return *static_cast<ReadOnlyFile*>(file); }

// SQLite wants the rest of its buffer zeroed when a file ends early.
int read(sqlite3_file* file, void* buffer, int count, sqlite3_int64 position) {
    const OpenFile* const open = fileOf(file).file;
    const ssize_t size = open != nullptr ? open->read(buffer, static_cast<std::size_t>(count), position) : 0;
    if (size < 0) {
        return SQLITE_IOERR_READ;
    }
    auto* const bytes = static_cast<unsigned char*>(buffer);
    std::fill(bytes + size, bytes + count, static_cast<unsigned char>(0));
    return size == count ? SQLITE_OK : SQLITE_IOERR_SHORT_READ;
}

int fileSize(sqlite3_file* file, sqlite3_int64* size) {
    const OpenFile* const open = fileOf(file).file;
    *size = open != nullptr ? open->size() : 0;
    return *size >= 0 ? SQLITE_OK : SQLITE_IOERR_FSTAT;
}

// Busy is what SQLite tries again; everything else ends the query.
int codeOfFailedLock() {
    return errno == EAGAIN || errno == EACCES || errno == ENOLCK ? SQLITE_BUSY : SQLITE_IOERR_LOCK;
}

// A writer that waits for readers to end keeps the pending byte locked, so no new reader comes and the writer gets
// its turn. It is asked for, not taken: a writer who takes it in between waits for one reader more. Nothing beyond
// a shared lock is ever wanted.
int lock(sqlite3_file* file, int level) {
    ReadOnlyFile& own = fileOf(file);
    if (level > SQLITE_LOCK_SHARED) {
        return SQLITE_BUSY;
    }
    if (own.isLocked) {
        return SQLITE_OK;
    }
    switch (own.file->lockOfOthers(kPending, 1)) {
        case OpenFile::Lock::Exclusive:
            return SQLITE_BUSY;
        case OpenFile::Lock::Unknown:
            return codeOfFailedLock();
        default:  // other readers may be about to come
            own.isLocked = own.file->lock(kShared, kSharedBytes);
            return own.isLocked ? SQLITE_OK : codeOfFailedLock();
    }
}

int unlock(sqlite3_file* file, int level) {
    ReadOnlyFile& own = fileOf(file);
    if (level >= SQLITE_LOCK_SHARED || !own.isLocked) {
        return SQLITE_OK;
    }
    own.isLocked = false;
    return own.file->unlock(kShared, kSharedBytes) ? SQLITE_OK : SQLITE_IOERR_UNLOCK;
}

int checkReservedLock(sqlite3_file* file, int* isReserved) {
    const OpenFile::Lock found = fileOf(file).file->lockOfOthers(kReserved, 1);
    *isReserved = found == OpenFile::Lock::None ? 0 : 1;
    return found == OpenFile::Lock::Unknown ? SQLITE_IOERR_CHECKRESERVEDLOCK : SQLITE_OK;
}

// For a journal, which is read and neither locked nor watched. The functions below replace what logs and
// databases need.
constexpr sqlite3_io_methods forReading() {
    sqlite3_io_methods methods{};
    methods.iVersion = 1;
    methods.xRead = read;
    methods.xWrite = [](sqlite3_file*, const void*, int, sqlite3_int64) { return SQLITE_READONLY; };
    methods.xTruncate = [](sqlite3_file*, sqlite3_int64) { return SQLITE_READONLY; };
    methods.xSync = [](sqlite3_file*, int) { return SQLITE_OK; };
    methods.xFileSize = fileSize;
    methods.xLock = [](sqlite3_file*, int) { return SQLITE_OK; };
    methods.xUnlock = [](sqlite3_file*, int) { return SQLITE_OK; };
    methods.xCheckReservedLock = [](sqlite3_file*, int* isReserved) {
        *isReserved = 0;
        return SQLITE_OK;
    };
    // The answer to requests that a file does not know; SQLite goes on without them.
    methods.xFileControl = [](sqlite3_file*, int, void*) { return SQLITE_NOTFOUND; };
    methods.xSectorSize = [](sqlite3_file*) { return kSectorBytes; };
    methods.xDeviceCharacteristics = [](sqlite3_file*) { return 0; };
    methods.xClose = [](sqlite3_file* file) {
        if (fileOf(file).file != nullptr) {
            fileOf(file).file->close();
        }
        return SQLITE_OK;
    };
    return methods;
}

int readLog(sqlite3_file* file, void* buffer, int count, sqlite3_int64 position) {
    const int code = read(file, buffer, count, position);
    return code != SQLITE_OK ? code : fileOf(file).owner->checkForWriter();
}

constexpr sqlite3_io_methods forReadingLogs() {
    sqlite3_io_methods methods = forReading();
    methods.xRead = readLog;
    return methods;
}

int readDatabase(sqlite3_file* file, void* buffer, int count, sqlite3_int64 position) {
    const int code = read(file, buffer, count, position);
    return code != SQLITE_OK ? code : fileOf(file).owner->present(buffer, count, position);
}

int closeDatabase(sqlite3_file* file) {
    // Not closed: closing a descriptor can end locks that others in this process have on the same file (see
    // open_file.cpp).
    fileOf(file).file->keep();
    return SQLITE_OK;
}

constexpr sqlite3_io_methods forReadingDatabases() {
    sqlite3_io_methods methods = forReading();
    methods.iVersion = 2;  // without those that map pages
    methods.xClose = closeDatabase;
    methods.xRead = readDatabase;
    methods.xLock = lock;
    methods.xUnlock = unlock;
    methods.xCheckReservedLock = checkReservedLock;
    methods.xShmMap = [](sqlite3_file* file, int region, int size, int, void volatile** memory) {
        return fileOf(file).owner->mapIndex(region, size, memory);
    };
    methods.xShmLock = [](sqlite3_file* file, int offset, int count, int flags) {
        return fileOf(file).owner->lockIndex(offset, count, flags);
    };
    methods.xShmBarrier = [](sqlite3_file*) { __sync_synchronize(); };
    methods.xShmUnmap = [](sqlite3_file* file, int) {
        fileOf(file).owner->closeIndex();
        return SQLITE_OK;
    };
    return methods;
}

constexpr sqlite3_io_methods kJournalMethods = forReading();
constexpr sqlite3_io_methods kLogMethods = forReadingLogs();
constexpr sqlite3_io_methods kDatabaseMethods = forReadingDatabases();

}  // namespace

int ReadOnlyFile::open(const char* name, sqlite3_file* memory, int flags, FileOwner& owner) {
    memory->pMethods = nullptr;
    OpenFile* const file = OpenFile::open(name);
    const bool isDeletedJournal = (flags & SQLITE_OPEN_MAIN_JOURNAL) != 0 && errno == ENOENT;
    if (file == nullptr && !isDeletedJournal) {
        return SQLITE_CANTOPEN;
    }
    const sqlite3_io_methods* methods = &kJournalMethods;
    if ((flags & SQLITE_OPEN_MAIN_DB) != 0) {
        methods = &kDatabaseMethods;
    } else if ((flags & SQLITE_OPEN_WAL) != 0) {
        methods = &kLogMethods;
    }
    new (memory) ReadOnlyFile{{methods}, &owner, file, false};
    return SQLITE_OK;
}

}  // namespace lumo::sqlite
