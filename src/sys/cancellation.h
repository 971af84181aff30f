#pragma once

#include <pthread.h>

namespace lumo::sys {

// While this lives, the calling thread is not cancelled. Waiting for a file or a lock is a cancellation
// point, and the unwinding would have to pass functions that let no exception out, with locks of other
// libraries held. It must be the first object of its function, so that nothing is left to unwind where a
// cancellation that came in the meantime takes effect. A thread that may be cancelled at any instruction ends
// there.
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
