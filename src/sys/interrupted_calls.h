#pragma once

#include <cerrno>

namespace lumo::sys {

// Repeats a system call as long as a signal of the host program interrupts it. Such a call has done nothing;
// one that a signal cuts short reports what it has done, and is not repeated.
template <class Call>
auto repeatInterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

}  // namespace lumo::sys
