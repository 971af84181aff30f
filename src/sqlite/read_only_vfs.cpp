#include "sqlite/read_only_vfs.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include <sys/stat.h>

#include "sys/fork_gate.h"

// The layer between SQLite and the file system, for one connection. Opening, looking for files and full names
// are its own; everything else goes to SQLite's layer for Unix. The header says what is noticed of writers,
// and how.
//
// What must stay true: nothing is written, created or deleted, whatever SQLite asks for; and whatever is told
// about a log or an index is asked of the file system each time, as writers come and go.
namespace lumo::sqlite {

namespace {

// Positions in the header of a database that say how to write and read it, and their values.
constexpr int kWriteVersion = 18;
constexpr int kReadVersion = 19;
constexpr unsigned char kRollback = 1;
constexpr unsigned char kWriteAhead = 2;

// What SQLite reads to find out whether the pages that it remembers are still true.
constexpr int kChangeCounter = 24;
constexpr int kChangeCounterBytes = 16;

constexpr int kSmallestPage = 512;

// Takes the lock of SQLite's list of layers.
sqlite3_vfs* findBase() {
    const sys::InsideForkGate gate;
    sqlite3_vfs* const unixFiles = sqlite3_vfs_find("unix");
    return unixFiles != nullptr ? unixFiles : sqlite3_vfs_find(nullptr);
}

std::string uniqueName(const void* object) {
    return "kovadata-" + std::to_string(reinterpret_cast<std::uintptr_t>(object));
}

}  // namespace

ReadOnlyVfs::ReadOnlyVfs(const std::string& databaseName)
    : base(findBase()),
      database(databaseName),
      log(database + "-wal"),
      name(uniqueName(this)),
      index(database + "-shm") {
    vfs.iVersion = base->iVersion < 2 ? 1 : 2;
    vfs.szOsFile = std::max(base->szOsFile, static_cast<int>(sizeof(ReadOnlyFile)));
    vfs.mxPathname = base->mxPathname;
    vfs.zName = name.c_str();
    vfs.pAppData = this;
    vfs.xOpen = open;
    vfs.xAccess = access;
    vfs.xFullPathname = fullPathname;
    // What SQLite deletes is the log of an empty database; it does as well without.
    vfs.xDelete = [](sqlite3_vfs*, const char*, int) { return SQLITE_OK; };
    forwardTheRest();
}

// Each function finds the object through the structure that SQLite passes, and SQLite's own layer through the
// object.
void ReadOnlyVfs::forwardTheRest() {
    vfs.xDlOpen = [](sqlite3_vfs* own, const char* file) {
        return ownerOf(own).base->xDlOpen(ownerOf(own).base, file);
    };
    vfs.xDlError = [](sqlite3_vfs* own, int size, char* message) {
        ownerOf(own).base->xDlError(ownerOf(own).base, size, message);
    };
    vfs.xDlSym = [](sqlite3_vfs* own, void* library, const char* symbol) {
        return ownerOf(own).base->xDlSym(ownerOf(own).base, library, symbol);
    };
    vfs.xDlClose = [](sqlite3_vfs* own, void* library) {
        ownerOf(own).base->xDlClose(ownerOf(own).base, library);
    };
    vfs.xRandomness = [](sqlite3_vfs* own, int size, char* bytes) {
        return ownerOf(own).base->xRandomness(ownerOf(own).base, size, bytes);
    };
    vfs.xSleep = [](sqlite3_vfs* own, int microseconds) {
        const sys::ForkGateOpened gate;  // for somebody's lock, many times
        return ownerOf(own).base->xSleep(ownerOf(own).base, microseconds);
    };
    vfs.xCurrentTime = [](sqlite3_vfs* own, double* time) {
        return ownerOf(own).base->xCurrentTime(ownerOf(own).base, time);
    };
    vfs.xCurrentTimeInt64 = [](sqlite3_vfs* own, sqlite3_int64* time) {
        return ownerOf(own).base->xCurrentTimeInt64(ownerOf(own).base, time);
    };
    vfs.xGetLastError = [](sqlite3_vfs* own, int size, char* message) {
        return ownerOf(own).base->xGetLastError(ownerOf(own).base, size, message);
    };
}

// SQLite finds this object by its name only while it opens the connection; afterwards the connection refers
// to it. So it is registered for that moment only.
int ReadOnlyVfs::connect(sqlite3** connection) {
    if (const int code = sqlite3_vfs_register(&vfs, 0); code != SQLITE_OK) {
        return code;
    }
    const int flags = SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE;
    const int code = sqlite3_open_v2(database.c_str(), connection, flags, vfs.zName);
    sqlite3_vfs_unregister(&vfs);
    return code;
}

ReadOnlyVfs& ReadOnlyVfs::ownerOf(sqlite3_vfs* vfs) { return *static_cast<ReadOnlyVfs*>(vfs->pAppData); }

int ReadOnlyVfs::open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* flagsOut) {
    ReadOnlyVfs& owner = ownerOf(vfs);
    constexpr int kBesideTheData = SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_WAL | SQLITE_OPEN_MAIN_JOURNAL;
    if ((flags & kBesideTheData) == 0) {
        return owner.base->xOpen(owner.base, name, file, flags, flagsOut);
    }
    const int code = ReadOnlyFile::open(name, file, flags, owner);
    if (code == SQLITE_OK && (flags & SQLITE_OPEN_WAL) != 0) {
        owner.logIsOpen = true;
    }
    if (code == SQLITE_OK && flagsOut != nullptr) {
        *flagsOut = (flags & ~(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE)) | SQLITE_OPEN_READONLY;
    }
    return code;
}

// An empty log counts as there when somebody uses it.
int ReadOnlyVfs::access(sqlite3_vfs* vfs, const char* name, int flags, int* result) {
    const ReadOnlyVfs& owner = ownerOf(vfs);
    if (flags == SQLITE_ACCESS_EXISTS && name == owner.log) {
        *result = owner.isLogInUse() ? 1 : 0;
        return SQLITE_OK;
    }
    return owner.base->xAccess(owner.base, name, flags, result);
}

// Links were resolved before; here it would make the name too long.
int ReadOnlyVfs::fullPathname(sqlite3_vfs* /*vfs*/, const char* name, int size, char* result) {
    const std::size_t length = std::strlen(name) + 1;
    if (length > static_cast<std::size_t>(size)) {
        return SQLITE_CANTOPEN;
    }
    std::memcpy(result, name, length);
    return SQLITE_OK;
}

int ReadOnlyVfs::present(void* read, int count, sqlite3_int64 position) {
    auto* const bytes = static_cast<unsigned char*>(read);
    if (position == 0 && count > kReadVersion) {
        isWriteAhead = bytes[kReadVersion] == kWriteAhead;
        if (isWriteAhead) {
            bytes[kReadVersion] = kRollback;
            bytes[kWriteVersion] = kRollback;
        }
    } else if (position == kChangeCounter && count == kChangeCounterBytes && isWriteAhead && !logIsOpen) {
        // In write-ahead mode not every change counts, so nothing is remembered.
        bytes[0] ^= 0xFF;
    }
    return count < kSmallestPage ? SQLITE_OK : checkForWriter();
}

int ReadOnlyVfs::checkForWriter() const {
    const bool appeared = logIsOpen ? indexIsInMemory && index.exists() : isWriteAhead && isLogInUse();
    return appeared ? SQLITE_BUSY_SNAPSHOT : SQLITE_OK;
}

bool ReadOnlyVfs::isLogInUse() const {
    struct stat status {};
    return stat(log.c_str(), &status) == 0 && (status.st_size > 0 || index.exists());
}

// Without an index SQLite makes one in memory; it asks again each time whether there is one now.
int ReadOnlyVfs::mapIndex(int region, int size, void volatile** memory) {
    const int code = index.map(region, size, memory);
    if (code == SQLITE_CANTOPEN && !index.exists()) {
        indexIsInMemory = true;
        return SQLITE_READONLY_CANTINIT;
    }
    const bool madeMeanwhile = std::exchange(indexIsInMemory, false);
    return madeMeanwhile && code == SQLITE_READONLY_CANTINIT ? SQLITE_READONLY : code;
}

int ReadOnlyVfs::lockIndex(int offset, int count, int flags) {
    if (indexIsInMemory || !index.isOpen()) {
        return (flags & SQLITE_SHM_EXCLUSIVE) != 0 ? SQLITE_BUSY : SQLITE_OK;
    }
    return index.lock(offset, count, flags);
}

}  // namespace lumo::sqlite
