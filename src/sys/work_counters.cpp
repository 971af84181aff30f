#include "sys/work_counters.h"

#include "sys/thread_number.h"

// Which counters a thread works for is a number of the thread's own, and not an argument that all readers
// would have to pass down.
namespace lumo::sys {

namespace {

ThreadNumber active;

[[gnu::destructor]] void releaseActive() { active.release(); }

void activate(WorkCounters* counters) noexcept { active.set(reinterpret_cast<std::intptr_t>(counters)); }

}  // namespace

WorkCounters* activeWorkCounters() noexcept {
    return reinterpret_cast<WorkCounters*>(active.get());  // NOLINT(performance-no-int-to-ptr)
}

CountedWork::CountedWork(WorkCounters& counters) noexcept : before(activeWorkCounters()) {
    activate(&counters);
}

CountedWork::~CountedWork() { activate(before); }

}  // namespace lumo::sys
