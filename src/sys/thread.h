#pragma once

#include <pthread.h>

namespace lumo::sys {

// A thread of the library's own. It has a name that users see in their tools, and takes no signals: those are
// the host program's. Where the system has no thread to give, start() says so and raises nothing, since its
// caller can do the work itself.
//
// A thread is joined before the library ends, or forgotten in a forked child, where it does not exist. The
// body's argument must live until then.
class Thread {
public:
    using Body = void (*)(void* argument) noexcept;

    // False if no thread is to be had. The name has at most 15 characters, the system's limit. One start at a
    // time, and none while it runs.
    bool start(const char* name, Body body, void* argument) noexcept;
    bool isStarted() const noexcept { return started; }
    void join() noexcept;
    void forget() noexcept { started = false; }

private:
    pthread_t thread{};
    bool started = false;
};

}  // namespace lumo::sys
