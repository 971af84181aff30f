#pragma once

#include <pthread.h>

namespace lumo::logging {

// Writing may wait, and a thread may be cancelled while it waits. The unwinding would have to leave functions that let
// nothing out, so it is put off.
class CancellationDisabled {
public:
    CancellationDisabled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before); }
    CancellationDisabled(const CancellationDisabled&) = delete;
    CancellationDisabled& operator=(const CancellationDisabled&) = delete;
    ~CancellationDisabled() { pthread_setcancelstate(before, nullptr); }

private:
    int before = PTHREAD_CANCEL_ENABLE;
};

}  // namespace lumo::logging
