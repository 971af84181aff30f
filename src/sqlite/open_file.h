#pragma once

#include <cstdint>

#include <sys/types.h>

namespace lumo::sqlite {

// A file that is read by position, and its locks. Nothing here throws.
//
// The system drops all locks that a process holds on a file as soon as the process closes any descriptor of
// it. Another copy of SQLite in the process may hold such locks, for a transaction that is being written. So
// descriptors of databases and of indexes of logs are not closed with their connection: they are kept in a
// table of the process, by device and inode, and used again. Beyond kMostKept the one that was unused longest
// is closed, if nobody holds a lock on its file; those of deleted files are closed first.
//
// The library's own locks belong to the descriptor and not to the process (F_OFD_SETLK): nobody in the
// process can drop them, and two connections do not see each other's as their own. A forked child shares
// descriptors with its parent, and so the locks; it closes them all as soon as it begins.
class OpenFile {
public:
    static constexpr int kMostKept = 16;

    // Null, with errno set, if there is no file of this name or it cannot be read.
    static OpenFile* open(const char* name) noexcept;

    // Ends all locks of the file, and keeps its descriptor for whoever opens it next.
    void keep() noexcept;
    // For files that nobody locks.
    void close() noexcept;

    // The number of bytes read, fewer than `count` at the end of the file; -1 with errno.
    ssize_t read(void* buffer, std::size_t count, std::int64_t position) const noexcept;
    // -1 with errno.
    std::int64_t size() const noexcept;

    // A lock for reading that others may share; false with errno.
    bool lock(std::int64_t position, std::int64_t count) noexcept;
    bool unlock(std::int64_t position, std::int64_t count) noexcept;

    // What keeps a writer from locking these bytes.
    enum class Lock : std::uint8_t { None, Shared, Exclusive, Unknown };
    Lock lockOfOthers(std::int64_t position, std::int64_t count) const noexcept;

private:
    friend class OpenFiles;
    OpenFile(int fileDescriptor, dev_t onDevice, ino_t ofInode)
        : descriptor(fileDescriptor), device(onDevice), inode(ofInode) {}

    int descriptor;  // -1 in a child of the process that opened it
    dev_t device;
    ino_t inode;
    bool isUsed = true;
    OpenFile* next = nullptr;
};

}  // namespace lumo::sqlite
