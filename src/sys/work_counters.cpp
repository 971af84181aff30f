#include "sys/work_counters.h"

#include "sys/thread_number.h"

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
