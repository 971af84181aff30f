#pragma once

#include <cstddef>
#include <functional>

// This program's own read, malloc, mmap, sqlite3_step and pthread_create, which take the place of the real ones for every library in the
// process and fail when told to.
namespace faults {

enum class Kind { Read, ShortRead, Allocation, Mapping, Step, Thread };

// From now on the n-th call of this kind fails, counted from 1; those before and after it do not.
void failNth(Kind kind, unsigned n);

// Before the n-th call of this kind `action` is done, and the call goes on.
void beforeNth(Kind kind, unsigned n, std::function<void()> action);

// Ends that and tells whether the call was reached.
bool stop();

// Memory in use: allocated and mapped bytes, of the whole process.
std::size_t bytesInUse();

}  // namespace faults
