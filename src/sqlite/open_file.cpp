#include "sqlite/open_file.h"

#include <cerrno>
#include <mutex>
#include <new>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "diag/assert.h"

// Descriptors of databases, with their locks. The system drops all locks that a process has on a file when
// any of its descriptors for that file is closed, unless they are locks of descriptors; and another copy of
// SQLite in this process may hold some of the other kind. So a descriptor is not closed while anybody has a
// lock on its file. It is used again by the next connection to the same file, which is recognised by device
// and inode and not by name.
//
// What must stay true: nothing here throws, since SQLite calls it; every operation on the list is done under
// the mutex; and whoever holds the mutex is inside the fork gate, so a forked child never inherits it locked.
// The list has one entry for each database that is open or was lately, so it is short and searched from its
// beginning.
namespace lumo::sqlite {

namespace {

// A signal may end a call before it has done anything.
template <class Call>
auto repeatedWhenInterrupted(const Call& call) noexcept {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

// A request for SQLite's kind of lock on some bytes; 0 bytes reach to the end of the file.
struct flock bytesFrom(std::int64_t position, std::int64_t count, short type) noexcept {
    struct flock bytes {};
    bytes.l_type = type;
    bytes.l_whence = SEEK_SET;
    bytes.l_start = position;
    bytes.l_len = count;
    return bytes;
}

}  // namespace

// All open files of the process. Those that are not in use are in the order in which they will be closed.
// Never destroyed: other threads of the program may still read while it exits.
class OpenFiles {
public:
    // Null, with the reason in errno, if it cannot be opened. Where the process has no descriptor left, those
    // that are only kept are closed first.
    OpenFile* open(const char* name) noexcept {
        struct stat status {};
        if (stat(name, &status) != 0) {
            return nullptr;
        }
        if (OpenFile* const kept = takeUnused(status); kept != nullptr) {
            return kept;
        }
        int descriptor = openDescriptor(name);
        if (descriptor < 0 && errno == EMFILE) {
            closeAllUnused();
            descriptor = openDescriptor(name);
        }
        return descriptor < 0 ? nullptr : add(descriptor);
    }

    // Moves it to the end of the list, where it is the last to be closed. A file that a forked child
    // inherited has no descriptor any more and goes.
    void keep(OpenFile& file) noexcept {
        const std::lock_guard lock(mutex);
        remove(file);
        if (file.descriptor < 0) {
            delete &file;
            return;
        }
        file.isUsed = false;
        append(file);
        closeUnused(OpenFile::kMostKept);
    }

    void close(OpenFile& file) noexcept {
        const std::lock_guard lock(mutex);
        remove(file);
        destroy(file);
    }

    void closeAllUnused() noexcept {
        const std::lock_guard lock(mutex);
        closeUnused(0);
    }

    // Nobody holds the mutex: whoever opens or closes a database is inside the gate.
    void forgetInChild() noexcept {
        for (OpenFile* file = first; file != nullptr; file = file->next) {
            ::close(file->descriptor);
            file->descriptor = -1;
        }
    }

private:
    static int openDescriptor(const char* name) noexcept {
        return repeatedWhenInterrupted([name] { return ::open(name, O_RDONLY | O_CLOEXEC); });
    }

    // Compares device and inode: somebody may have put another file in the place of the one with this name.
    OpenFile* takeUnused(const struct stat& status) noexcept {
        const std::lock_guard lock(mutex);
        for (OpenFile* file = first; file != nullptr; file = file->next) {
            if (!file->isUsed && file->descriptor >= 0 && file->device == status.st_dev &&
                file->inode == status.st_ino) {
                file->isUsed = true;
                return file;
            }
        }
        return nullptr;
    }

    OpenFile* add(int descriptor) noexcept {
        struct stat status {};
        OpenFile* const file = fstat(descriptor, &status) == 0
                                   ? new (std::nothrow) OpenFile(descriptor, status.st_dev, status.st_ino)
                                   : nullptr;
        if (file == nullptr) {
            ::close(descriptor);
            errno = ENOMEM;
            return nullptr;
        }
        const std::lock_guard lock(mutex);
        append(*file);
        return file;
    }

    void append(OpenFile& file) noexcept {
        OpenFile** end = &first;
        while (*end != nullptr) {
            end = &(*end)->next;
        }
        file.next = nullptr;
        *end = &file;
    }

    void remove(const OpenFile& file) noexcept {
        OpenFile** link = &first;
        while (*link != &file) {
            LUMO_ASSERT(*link != nullptr);
            link = &(*link)->next;
        }
        *link = file.next;
    }

    static void destroy(OpenFile& file) noexcept {
        if (file.descriptor >= 0) {
            ::close(file.descriptor);
        }
        delete &file;
    }

    // Nobody opens a file again that has been deleted.
    static bool isUseless(const OpenFile& file) noexcept {
        struct stat status {};
        return file.descriptor < 0 || (fstat(file.descriptor, &status) == 0 && status.st_nlink == 0);
    }

    static bool isLocked(const OpenFile& file) noexcept {
        const OpenFile::Lock lock = file.lockOfOthers(0, 0);
        return lock == OpenFile::Lock::Shared || lock == OpenFile::Lock::Exclusive;
    }

    // Oldest first, until no more than `mostKept` are left. Files that somebody has locked stay, whatever
    // their number: closing one could drop a lock.
    void closeUnused(int mostKept) noexcept {
        int tooMany = -mostKept;
        for (const OpenFile* file = first; file != nullptr; file = file->next) {
            tooMany += file->isUsed ? 0 : 1;
        }
        for (OpenFile** link = &first; *link != nullptr;) {
            OpenFile& file = **link;
            if (!file.isUsed && (tooMany > 0 || isUseless(file)) && !isLocked(file)) {
                *link = file.next;
                destroy(file);
                --tooMany;
            } else {
                link = &file.next;
            }
        }
    }

    std::mutex mutex;
    OpenFile* first = nullptr;
};

namespace {

// Trivially destructible, and there before the first constructor runs.
constinit OpenFiles files;

void forgetFilesInChild() { files.forgetInChild(); }

[[maybe_unused]] const int kRegistered = pthread_atfork(nullptr, nullptr, &forgetFilesInChild);

// At exit and when the library is unloaded. Files on which others hold locks stay open even then.
[[gnu::destructor]] void closeUnusedFiles() { files.closeAllUnused(); }

}  // namespace

OpenFile* OpenFile::open(const char* name) noexcept { return files.open(name); }

void OpenFile::keep() noexcept {
    unlock(0, 0);
    files.keep(*this);
}

void OpenFile::close() noexcept { files.close(*this); }

ssize_t OpenFile::read(void* buffer, std::size_t count, std::int64_t position) const noexcept {
    std::size_t done = 0;
    while (done < count) {
        const ssize_t got = repeatedWhenInterrupted([&] {
            return pread(descriptor, static_cast<char*>(buffer) + done, count - done,
                         position + static_cast<std::int64_t>(done));
        });
        if (got < 0) {
            return -1;
        }
        if (got == 0) {
            break;
        }
        done += static_cast<std::size_t>(got);
    }
    return static_cast<ssize_t>(done);
}

std::int64_t OpenFile::size() const noexcept {
    struct stat status {};
    return fstat(descriptor, &status) == 0 ? status.st_size : -1;
}

bool OpenFile::lock(std::int64_t position, std::int64_t count) noexcept {
    struct flock bytes = bytesFrom(position, count, F_RDLCK);
    return repeatedWhenInterrupted([&] { return fcntl(descriptor, F_OFD_SETLK, &bytes); }) == 0;
}

bool OpenFile::unlock(std::int64_t position, std::int64_t count) noexcept {
    struct flock bytes = bytesFrom(position, count, F_UNLCK);
    return repeatedWhenInterrupted([&] { return fcntl(descriptor, F_OFD_SETLK, &bytes); }) == 0;
}

OpenFile::Lock OpenFile::lockOfOthers(std::int64_t position, std::int64_t count) const noexcept {
    struct flock bytes = bytesFrom(position, count, F_WRLCK);
    if (repeatedWhenInterrupted([&] { return fcntl(descriptor, F_OFD_GETLK, &bytes); }) != 0) {
        return Lock::Unknown;
    }
    return bytes.l_type == F_UNLCK ? Lock::None : bytes.l_type == F_RDLCK ? Lock::Shared : Lock::Exclusive;
}

}  // namespace lumo::sqlite
