#pragma once

namespace lumo::sys {

// A signal handler may fork while the thread that it interrupted holds a lock for which the library's fork
// handlers would wait. While this lives, the calling thread may hold such locks. The handlers ask
// isForkInterrupting() and then take none, and the child, whose locks nobody could repair, does without what
// they guard.
class MayHoldForkLocks {
public:
    MayHoldForkLocks() noexcept;
    MayHoldForkLocks(const MayHoldForkLocks&) = delete;
    MayHoldForkLocks& operator=(const MayHoldForkLocks&) = delete;
    ~MayHoldForkLocks();
};

// In a fork handler: whether the forking thread was interrupted where it may hold locks.
bool isForkInterrupting() noexcept;

}  // namespace lumo::sys
