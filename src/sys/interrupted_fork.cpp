#include "sys/interrupted_fork.h"

#include "sys/thread_number.h"

// A count per thread, as the places that may hold locks are nested.
namespace lumo::sys {

namespace {

ThreadNumber depth;

[[gnu::destructor]] void releaseDepth() { depth.release(); }

}  // namespace

MayHoldForkLocks::MayHoldForkLocks() noexcept { depth.set(depth.get() + 1); }
MayHoldForkLocks::~MayHoldForkLocks() { depth.set(depth.get() - 1); }

bool isForkInterrupting() noexcept { return depth.get() > 0; }

}  // namespace lumo::sys
