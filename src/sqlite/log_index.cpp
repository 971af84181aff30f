#include "sqlite/log_index.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <new>

#include <sqlite3.h>
#include <sys/stat.h>

// A copy of the index that a writer keeps beside its log. SQLite would map the file; but a file that is cut
// while it is mapped ends the process, and children inherit mappings. So the regions are read into memory,
// and read again as far as they may have changed, whenever SQLite has taken a lock by which it makes sure
// that they are current.
//
// The index is of use only while a writer keeps it in order. Whoever has it open holds a shared lock on one
// byte, and from then on so does this reader. Without such a lock the file may be left over from a process
// that has died, and SQLite is told to make an index of its own.
namespace lumo::sqlite {

namespace {

constexpr std::size_t kRegionBytes = 32768;

// The first region begins with two copies of a header and with what the locks stand for; hash tables of
// frames follow.
constexpr std::size_t kHeaderBytes = 48;
constexpr std::size_t kLocksBytes = 40;
constexpr std::size_t kBeforeFrames = 2 * kHeaderBytes + kLocksBytes;
constexpr std::size_t kNumFrames = 16;  // positions in the header
constexpr std::size_t kSalt = 32;
constexpr std::uint32_t kFramesOfRegion = 4096;
constexpr std::uint32_t kFramesNotInFirst = 34;

// Bytes of the file that are locked, one for each lock of SQLite, and one for whoever has the index open.
constexpr int kFirstLock = 120;
constexpr int kOpenLock = 128;

std::uint32_t numFrames(const std::byte* header) {
    std::uint32_t count = 0;
    std::memcpy(&count, header + kNumFrames, sizeof count);
    return count;
}

// The first region that may differ, where frames were only added: the log has not begun again. Nothing is
// known of a copy whose two headers differ, since it was read while its writer changed them.
std::size_t firstChanged(const std::byte* before, const std::byte* now) {
    if (std::memcmp(before, before + kHeaderBytes, kHeaderBytes) != 0 ||
        std::memcmp(before + kSalt, now + kSalt, 8) != 0) {
        return 0;
    }
    return (std::min(numFrames(before), numFrames(now)) + kFramesNotInFirst) / kFramesOfRegion;
}

}  // namespace

// A file that cannot be asked about counts as there, so that nobody relies on its absence.
bool LogIndex::exists() const noexcept {
    struct stat status {};
    return stat(name.c_str(), &status) == 0 || errno != ENOENT;
}

int LogIndex::open() noexcept {
    if (file == nullptr) {
        file = OpenFile::open(name.c_str());
    }
    return file != nullptr ? SQLITE_OK : SQLITE_CANTOPEN;
}

// An index that nobody has open may be of any age.
int LogIndex::trust() noexcept {
    if (isTrusted) {
        return SQLITE_OK;
    }
    switch (file->lockOfOthers(kOpenLock, 1)) {
        case OpenFile::Lock::None:
            return SQLITE_READONLY_CANTINIT;
        case OpenFile::Lock::Shared:
            isTrusted = file->lock(kOpenLock, 1);
            return isTrusted ? SQLITE_OK : SQLITE_BUSY;
        case OpenFile::Lock::Exclusive:
            return SQLITE_BUSY;
        case OpenFile::Lock::Unknown:
            break;
    }
    return SQLITE_IOERR_LOCK;
}

// SQLITE_READONLY is success here: it is how SQLite expects to hear that it may read the memory and must not
// write it.
int LogIndex::map(int region, int size, void volatile** memory) noexcept {
    *memory = nullptr;
    if (static_cast<std::size_t>(size) != kRegionBytes) {
        return SQLITE_IOERR_SHMMAP;
    }
    if (const int code = open(); code != SQLITE_OK) {
        return code;
    }
    if (const int code = trust(); code != SQLITE_OK) {
        return code;
    }
    const auto wanted = static_cast<std::size_t>(region);
    const std::int64_t bytes = file->size();
    if (bytes < 0) {
        return SQLITE_IOERR_SHMSIZE;
    }
    if (wanted >= regions.size()) {
        if (static_cast<std::size_t>(bytes) < (wanted + 1) * kRegionBytes) {
            return SQLITE_READONLY;  // and no memory: the file is not that long
        }
        if (!addRegions(wanted + 1)) {
            return SQLITE_IOERR_NOMEM;
        }
    }
    *memory = regions[wanted].get();
    return SQLITE_READONLY;
}

// Regions are separate blocks: SQLite keeps their addresses while more are added.
bool LogIndex::addRegions(std::size_t count) noexcept {
    try {
        while (regions.size() < count) {
            regions.push_back(std::make_unique<std::byte[]>(kRegionBytes));
            readRegion(regions.size() - 1);
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

// What cannot be read is zero, which SQLite takes for a header that is not in order.
void LogIndex::readRegion(std::size_t region) noexcept {
    std::byte* const bytes = regions[region].get();
    const ssize_t size = file->read(bytes, kRegionBytes, static_cast<std::int64_t>(region * kRegionBytes));
    std::fill(bytes + std::max<ssize_t>(size, 0), bytes + kRegionBytes, std::byte{});
}

// Reads the header first: the tables may be newer than the header, but not older.
void LogIndex::update() noexcept {
    if (regions.empty() || !isTrusted) {
        return;
    }
    std::array<std::byte, kBeforeFrames> now{};
    file->read(now.data(), now.size(), 0);
    std::byte* const before = regions[0].get();
    const bool isSame = std::memcmp(before, now.data(), 2 * kHeaderBytes) == 0;
    const std::size_t first = isSame ? regions.size() : firstChanged(before, now.data());
    std::memcpy(before, now.data(), now.size());
    for (std::size_t region = first; region < regions.size(); ++region) {
        readRegion(region);
    }
}

// Exclusive locks are for writers and refused. When a shared one is granted or refused, the copy is brought
// up to date, since SQLite looks at it next.
int LogIndex::lock(int offset, int count, int flags) noexcept {
    const int position = kFirstLock + offset;
    if ((flags & SQLITE_SHM_UNLOCK) != 0) {
        return file->unlock(position, count) ? SQLITE_OK : SQLITE_IOERR_SHMLOCK;
    }
    const bool isLocked = (flags & SQLITE_SHM_EXCLUSIVE) == 0 && file->lock(position, count);
    update();
    return isLocked ? SQLITE_OK : SQLITE_BUSY;
}

void LogIndex::close() noexcept {
    regions.clear();
    isTrusted = false;
    if (file != nullptr) {
        file->keep();
        file = nullptr;
    }
}

}  // namespace lumo::sqlite
