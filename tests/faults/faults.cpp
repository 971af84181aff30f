#include "faults/faults.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <utility>

#include <dlfcn.h>
#include <malloc.h>
#include <pthread.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);
}

namespace faults {

namespace {

bool armed = false;
Kind armedKind{};
std::function<void()> armedAction;
std::atomic<unsigned> callsLeft = 0;
std::atomic<std::size_t> allocated = 0;
std::atomic<std::size_t> mapped = 0;

bool fails(Kind kind) {
    const bool isNth = armed && kind == armedKind && callsLeft != 0 && --callsLeft == 0;
    if (isNth && armedAction) {
        armedAction();
        return false;
    }
    return isNth;
}

void* counted(void* memory) {
    allocated += malloc_usable_size(memory);
    return memory;
}

void* outOfMemory() {
    errno = ENOMEM;
    return nullptr;
}

}  // namespace

void failNth(Kind kind, unsigned n) {
    armedKind = kind;
    callsLeft = n;
    armed = true;
}

void beforeNth(Kind kind, unsigned n, std::function<void()> action) {
    armedAction = std::move(action);
    failNth(kind, n);
}

bool stop() {
    armed = false;
    armedAction = nullptr;
    return callsLeft == 0;
}

std::size_t bytesInUse() { return allocated + mapped; }

namespace {

ssize_t readAt(int file, void* buffer, std::size_t size, std::int64_t offset) {
    if (fails(Kind::Read)) {
        errno = EIO;
        return -1;
    }
    if (size > 1 && fails(Kind::ShortRead)) {
        size /= 2;
    }
    return syscall(SYS_pread64, file, buffer, size, offset);
}

// The steps that SQLite takes itself would fail without its knowledge.
thread_local int sqliteDepth = 0;

int insideSqlite(const auto& call) {
    ++sqliteDepth;
    const int code = call();
    --sqliteDepth;
    return code;
}

void* remembered(void* memory, std::size_t size) {
    mapped += memory == MAP_FAILED ? 0 : size;
    return memory;
}

}  // namespace

}  // namespace faults

extern "C" {

ssize_t pread(int file, void* buffer, std::size_t size, off_t offset) {
    return faults::readAt(file, buffer, size, offset);
}

ssize_t pread64(int file, void* buffer, std::size_t size, off64_t offset) {
    return faults::readAt(file, buffer, size, offset);
}

ssize_t read(int file, void* buffer, std::size_t size) {
    if (faults::fails(faults::Kind::Read)) {
        errno = EIO;
        return -1;
    }
    return syscall(SYS_read, file, buffer, size);
}

void* malloc(std::size_t size) {
    return faults::fails(faults::Kind::Allocation) ? faults::outOfMemory()
                                                   : faults::counted(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size) {
    return faults::fails(faults::Kind::Allocation) ? faults::outOfMemory()
                                                   : faults::counted(__libc_calloc(count, size));
}

void* realloc(void* memory, std::size_t size) {
    if (faults::fails(faults::Kind::Allocation)) {
        return faults::outOfMemory();
    }
    const std::size_t before = malloc_usable_size(memory);
    void* const result = __libc_realloc(memory, size);
    faults::allocated -= result != nullptr || size == 0 ? before : 0;
    return faults::counted(result);
}

void* memalign(std::size_t alignment, std::size_t size) {
    return faults::fails(faults::Kind::Allocation) ? faults::outOfMemory()
                                                   : faults::counted(__libc_memalign(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size) { return memalign(alignment, size); }

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    *memory = memalign(alignment, size);
    return *memory == nullptr ? ENOMEM : 0;
}

void free(void* memory) {
    faults::allocated -= malloc_usable_size(memory);
    __libc_free(memory);
}

void* mmap(void* address, std::size_t size, int protection, int flags, int file, off_t offset) {
    if (faults::fails(faults::Kind::Mapping)) {
        errno = ENOMEM;
        return MAP_FAILED;
    }
    return faults::remembered(
        reinterpret_cast<void*>(syscall(SYS_mmap, address, size, protection, flags, file, offset)), size);
}

void* mremap(void* address, std::size_t oldSize, std::size_t newSize, int flags, ...) {
    if (faults::fails(faults::Kind::Mapping)) {
        errno = ENOMEM;
        return MAP_FAILED;
    }
    void* const result =
        reinterpret_cast<void*>(syscall(SYS_mremap, address, oldSize, newSize, flags, nullptr));
    faults::mapped -= result == MAP_FAILED ? 0 : oldSize;
    return faults::remembered(result, newSize);
}

int munmap(void* address, std::size_t size) {
    faults::mapped -= size;
    return static_cast<int>(syscall(SYS_munmap, address, size));
}

int sqlite3_prepare_v2(sqlite3* db, const char* sql, int size, sqlite3_stmt** statement, const char** tail) {
    static const auto prepare =
        reinterpret_cast<decltype(&sqlite3_prepare_v2)>(dlsym(RTLD_NEXT, "sqlite3_prepare_v2"));
    return faults::insideSqlite([&] { return prepare(db, sql, size, statement, tail); });
}

int sqlite3_step(sqlite3_stmt* statement) {
    if (faults::sqliteDepth == 0 && faults::fails(faults::Kind::Step)) {
        return SQLITE_IOERR;
    }
    static const auto step = reinterpret_cast<decltype(&sqlite3_step)>(dlsym(RTLD_NEXT, "sqlite3_step"));
    return faults::insideSqlite([&] { return step(statement); });
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument) {
    if (faults::fails(faults::Kind::Thread)) {
        return EAGAIN;
    }
    static const auto create =
        reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    return create(thread, attributes, run, argument);
}

}  // extern "C"
