#include "sys/fork_gate.h"

#include <atomic>
#include <climits>

#include <pthread.h>

#include "sys/thread_number.h"

// The gate is one number, the threads inside, and one bit, set while a fork waits or is under way. Entering
// and leaving are one atomic operation each, so a thread that is interrupted at any point leaves nothing that
// a child would miss. Each thread has its own depth: a signal handler that forks in a thread which is inside
// must not wait for that very thread.
//
// What must stay true: the child begins with nobody inside, whoever was inside in the parent, because only
// the forking thread exists there.
namespace lumo::sys {

namespace {

constexpr int kClosed = INT_MIN;  // the bit besides the number of threads inside

constinit std::atomic<int> state{0};
constinit std::atomic<unsigned> generation{0};

// Not 0 if the thread is inside or about to be.
ThreadNumber passes;

[[gnu::destructor]] void releasePasses() { passes.release(); }

void enter() noexcept {
    for (int now = state.load(std::memory_order_relaxed);;) {
        if ((now & kClosed) != 0) {
            state.wait(now, std::memory_order_relaxed);
            now = state.load(std::memory_order_relaxed);
        } else if (state.compare_exchange_weak(now, now + 1, std::memory_order_acquire)) {
            return;
        }
    }
}

// In the child of a thread that a signal handler made fork, nobody is counted.
void leave() noexcept {
    for (int now = state.load(std::memory_order_relaxed); (now & ~kClosed) != 0;) {
        if (state.compare_exchange_weak(now, now - 1, std::memory_order_release)) {
            if (now == (kClosed | 1)) {
                state.notify_all();
            }
            return;
        }
    }
}

// Sets the bit first, so that nobody enters any more, and then waits until the last one has left. Two threads
// may fork at the same time; the second waits until the first is done.
void closeForFork() {
    if (passes.get() != 0) {
        return;
    }
    int now = state.load(std::memory_order_relaxed);
    while ((now & kClosed) != 0 || !state.compare_exchange_weak(now, now | kClosed)) {
        state.wait(now | kClosed);
        now = state.load(std::memory_order_relaxed);
    }
    for (now = state.load(std::memory_order_acquire); now != kClosed;
         now = state.load(std::memory_order_acquire)) {
        state.wait(now);
    }
}

void openInParent() {
    if (passes.get() == 0) {
        state.store(0, std::memory_order_release);
        state.notify_all();
    }
}

void openInChild() {
    state.store(0, std::memory_order_release);
    generation.fetch_add(1, std::memory_order_relaxed);
}

[[maybe_unused]] const int kRegistered = pthread_atfork(&closeForFork, &openInParent, &openInChild);

}  // namespace

InsideForkGate::InsideForkGate() noexcept : hasEntered(passes.get() == 0) {
    passes.set(passes.get() + 1);
    if (hasEntered) {
        enter();
    }
}

InsideForkGate::~InsideForkGate() {
    if (hasEntered) {
        leave();
    }
    passes.set(passes.get() - 1);
}

ForkGateOpened::ForkGateOpened() noexcept { leave(); }

ForkGateOpened::~ForkGateOpened() { enter(); }

bool isInsideForkGate() noexcept { return passes.get() != 0; }

void letForkPass() noexcept {
    if ((state.load(std::memory_order_relaxed) & kClosed) != 0) {
        const ForkGateOpened opened;
    }
}

unsigned forkGeneration() noexcept { return generation.load(std::memory_order_relaxed); }

}  // namespace lumo::sys
