#pragma once

namespace lumo::sys {

// A signal handler may fork while the interrupted thread holds a lock that the library's fork handlers would
// wait for. While this lives the calling thread may hold such locks; the handlers ask isForkInterrupting()
// and take none then, and the child, whose locks nobody could mend, does without what they guard.
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
