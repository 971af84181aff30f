#pragma once

namespace lumo::sys {

// A forked child has the forking thread alone. A lock that another thread holds at that moment, in a library
// that knows nothing of forks, is never released there. Whoever calls such a library does so inside the gate:
// a fork waits until nobody is inside, and nobody enters while it is under way.
//
// Inside, take no lock that a fork handler takes, call nobody back, and do not stay long: ForkGateOpened is
// for waiting, letForkPass() for long work. A signal handler that forks in a thread that is inside does not
// wait.
class InsideForkGate {
public:
    InsideForkGate() noexcept;
    InsideForkGate(const InsideForkGate&) = delete;
    InsideForkGate& operator=(const InsideForkGate&) = delete;
    ~InsideForkGate();

private:
    const bool hasEntered;
};

// Leaves the gate that the calling thread is inside of, for the lifetime of the object.
class ForkGateOpened {
public:
    ForkGateOpened() noexcept;
    ForkGateOpened(const ForkGateOpened&) = delete;
    ForkGateOpened& operator=(const ForkGateOpened&) = delete;
    ~ForkGateOpened();
};

// Whether the calling thread is.
bool isInsideForkGate() noexcept;

// Leaves the gate for a moment if a fork waits.
void letForkPass() noexcept;

// A number that differs in every forked child. Code that remembers it can find out later whether it is still
// in the same process.
unsigned forkGeneration() noexcept;

}  // namespace lumo::sys
