#pragma once

#include <cstddef>

namespace lumo::sys {

// Work of one call that several threads share: tasks numbered from 0, in any order, each done once. The
// calling thread takes tasks like everyone else, so the work is done even if the system has no thread to
// give; it waits only for tasks that others have begun. All callers share the threads, which are kept for
// later work and end when the library does. A forked child has threads of its own.
using Task = void (*)(void* context, std::size_t number) noexcept;

// Runs task(context, 0) ... task(context, count - 1) on at most `threads` threads, the calling one included,
// and returns when all are done. Tasks must not throw, and must not depend on each other.
void runTasks(std::size_t count, std::size_t threads, Task task, void* context);

// More threads than this in all bring nothing.
inline constexpr std::size_t kMaxPoolThreads = 256;

}  // namespace lumo::sys
