#include "sqlite/read_only_vfs.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

#include <sys/stat.h>

namespace {

// Where the header of a database tells how to write and read it, and what it tells.
constexpr int kWriteVersion = 18;
constexpr int kReadVersion = 19;
constexpr unsigned char kRollback = 1;
constexpr unsigned char kWriteAhead = 2;

// What SQLite reads to find out whether the pages that it remembers are still true.
constexpr int kChangeCounter = 24;
constexpr int kChangeCounterBytes = 16;

constexpr int kSmallestPage = 512;

sqlite3_vfs* findBase() {
    sqlite3_vfs* const unixFiles = sqlite3_vfs_find("unix");
    return unixFiles != nullptr ? unixFiles : sqlite3_vfs_find(nullptr);
}

std::string uniqueName(const void* object) {
    return "kovadata-" + std::to_string(reinterpret_cast<std::uintptr_t>(object));
}

}  // namespace

ReadOnlyVfs::ReadOnlyVfs(const std::string& database)
    : base(findBase()), log(database + "-wal"), index(database + "-shm"), name(uniqueName(this)) {
    vfs.iVersion = base->iVersion < 2 ? 1 : 2;
    vfs.szOsFile = base->szOsFile;
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

// SQLite finds the object by its name only while it opens; afterwards the connection refers to it.
int ReadOnlyVfs::connect(const std::string& uri, sqlite3** connection) {
    if (const int code = sqlite3_vfs_register(&vfs, 0); code != SQLITE_OK) {
        return code;
    }
    const int flags = SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE | SQLITE_OPEN_URI;
    const int code = sqlite3_open_v2(uri.c_str(), connection, flags, vfs.zName);
    sqlite3_vfs_unregister(&vfs);
    return code;
}

ReadOnlyVfs& ReadOnlyVfs::ownerOf(sqlite3_vfs* vfs) { return *static_cast<ReadOnlyVfs*>(vfs->pAppData); }

// ------------------------------------------------------------------------------------------------------
// files by name

int ReadOnlyVfs::open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* flagsOut) {
    constexpr int kBesideTheData = SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_WAL | SQLITE_OPEN_MAIN_JOURNAL;
    ReadOnlyVfs& owner = ownerOf(vfs);
    if ((flags & kBesideTheData) != 0) {
        flags = (flags & ~(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE)) | SQLITE_OPEN_READONLY;
    }
    const int code = owner.base->xOpen(owner.base, name, file, flags, flagsOut);
    if (code == SQLITE_OK && (flags & SQLITE_OPEN_MAIN_DB) != 0) {
        owner.replaceMethods(file, owner.databaseMethods);
        owner.databaseMethods.table.xRead = readDatabase;
        owner.databaseMethods.table.xShmMap = mapIndex;
        owner.databaseMethods.table.xShmLock = lockIndex;
    } else if (code == SQLITE_OK && (flags & SQLITE_OPEN_WAL) != 0) {
        owner.replaceMethods(file, owner.logMethods);
        owner.logMethods.table.xRead = readLog;
        owner.logIsOpen = true;
    }
    return code;
}

void ReadOnlyVfs::replaceMethods(sqlite3_file* file, Methods& methods) {
    methods = {*file->pMethods, file->pMethods, this};
    methods.table.iVersion = 2;  // without those that map pages
    file->pMethods = &methods.table;
}

ReadOnlyVfs::Methods& ReadOnlyVfs::methodsOf(sqlite3_file* file) {
    return *reinterpret_cast<Methods*>(const_cast<sqlite3_io_methods*>(file->pMethods));
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

// Links have been followed before, which here would make the name too long.
int ReadOnlyVfs::fullPathname(sqlite3_vfs* /*vfs*/, const char* name, int size, char* result) {
    const std::size_t length = std::strlen(name) + 1;
    if (length > static_cast<std::size_t>(size)) {
        return SQLITE_CANTOPEN;
    }
    std::memcpy(result, name, length);
    return SQLITE_OK;
}

// ------------------------------------------------------------------------------------------------------
// pages

int ReadOnlyVfs::readDatabase(sqlite3_file* file, void* buffer, int count, sqlite3_int64 position) {
    const Methods& methods = methodsOf(file);
    const int code = methods.original->xRead(file, buffer, count, position);
    if (code != SQLITE_OK) {
        return code;
    }
    methods.owner->present(static_cast<unsigned char*>(buffer), count, position);
    return count < kSmallestPage ? SQLITE_OK : methods.owner->checkForWriter();
}

int ReadOnlyVfs::readLog(sqlite3_file* file, void* buffer, int count, sqlite3_int64 position) {
    const Methods& methods = methodsOf(file);
    const int code = methods.original->xRead(file, buffer, count, position);
    return code != SQLITE_OK ? code : methods.owner->checkForWriter();
}

void ReadOnlyVfs::present(unsigned char* bytes, int count, sqlite3_int64 position) {
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
}

int ReadOnlyVfs::checkForWriter() const {
    const bool appeared = logIsOpen ? indexIsInMemory && isIndexThere() : isWriteAhead && isLogInUse();
    return appeared ? SQLITE_BUSY_SNAPSHOT : SQLITE_OK;
}

// ------------------------------------------------------------------------------------------------------
// log and index

bool ReadOnlyVfs::isLogInUse() const {
    struct stat status {};
    return stat(log.c_str(), &status) == 0 && (status.st_size > 0 || isIndexThere());
}

bool ReadOnlyVfs::isIndexThere() const {
    struct stat status {};
    return stat(index.c_str(), &status) == 0 || errno != ENOENT;
}

// To SQLite the index is always one that it cannot change, also where somebody else in the process can.
int ReadOnlyVfs::mapIndex(sqlite3_file* file, int region, int size, int extend, void volatile** memory) {
    const Methods& methods = methodsOf(file);
    ReadOnlyVfs& owner = *methods.owner;
    const int code = methods.original->xShmMap(file, region, size, extend, memory);
    if (code == SQLITE_CANTOPEN && !owner.isIndexThere()) {
        owner.indexIsInMemory = true;
        return SQLITE_READONLY_CANTINIT;
    }
    const bool madeMeanwhile = std::exchange(owner.indexIsInMemory, false);
    return code == SQLITE_OK || (madeMeanwhile && code == SQLITE_READONLY_CANTINIT) ? SQLITE_READONLY : code;
}

int ReadOnlyVfs::lockIndex(sqlite3_file* file, int offset, int count, int flags) {
    const Methods& methods = methodsOf(file);
    if (methods.owner->indexIsInMemory) {
        return (flags & SQLITE_SHM_EXCLUSIVE) != 0 ? SQLITE_BUSY : SQLITE_OK;
    }
    return methods.original->xShmLock(file, offset, count, flags);
}
