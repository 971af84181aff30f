#include "sys/thread.h"

#include <csignal>
#include <cstring>
#include <memory>
#include <new>

#include "diag/assert.h"

// Threads by the system's own interface: the standard one throws where no thread is to be had, and knows
// neither names nor signal masks. Signals are blocked before the thread is made, as the new thread inherits
// the mask and must not take one in its first moments.
namespace lumo::sys {

namespace {

struct Start {
    Thread::Body body;
    void* argument;
};

void* run(void* start) {
    const Start what = *std::unique_ptr<Start>(static_cast<Start*>(start));
    what.body(what.argument);
    return nullptr;
}

}  // namespace

bool Thread::start(const char* name, Body body, void* argument) noexcept {
    LUMO_ASSERT(!started && std::strlen(name) <= 15);
    // cppcheck-suppress unreadVariable; the thread reads it
    std::unique_ptr<Start> what(new (std::nothrow) Start{body, argument});
    if (!what) {
        return false;
    }
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    started = pthread_create(&thread, nullptr, &run, what.get()) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (started) {
        pthread_setname_np(thread, name);
        what.release();  // NOLINT(bugprone-unused-return-value): the thread deletes it
    }
    return started;
}

void Thread::join() noexcept {
    if (started) {
        pthread_join(thread, nullptr);
        started = false;
    }
}

}  // namespace lumo::sys
