#pragma once

#include <pthread.h>

namespace lumo::sys {

// The calling thread is not cancelled while this lives: waiting for a file or a lock is a cancellation point,
// and the unwinding would have to leave functions that let nothing out, with locks of other libraries held.
// Of all objects of a function this is made first, so that nothing is left to unwind where a cancellation
// that came meanwhile takes effect; for a thread that may be cancelled at any instruction, that is its end.
class CancellationDisabled {
public:
    CancellationDisabled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before); }
    CancellationDisabled(const CancellationDisabled&) = delete;
    CancellationDisabled& operator=(const CancellationDisabled&) = delete;
    ~CancellationDisabled() noexcept(false) { pthread_setcancelstate(before, nullptr); }

private:
    int before = PTHREAD_CANCEL_ENABLE;
};

}  // namespace lumo::sys
