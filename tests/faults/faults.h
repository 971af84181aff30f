#pragma once

#include <cstddef>

// This program's own read, malloc, mmap, sqlite3_step and pthread_create, which take the place of the real ones for every library in the
// process and fail when told to.
namespace faults {

enum class Kind { Read, ShortRead, Allocation, Mapping, Step, Thread };

// From now on the n-th call of this kind fails, counted from 1; those before and after it do not.
void failNth(Kind kind, unsigned n);

// Ends that and tells whether the call was reached.
bool stop();

// Memory in use: allocated and mapped bytes, of the whole process.
std::size_t bytesInUse();

}  // namespace faults
