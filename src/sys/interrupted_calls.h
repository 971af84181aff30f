#pragma once

#include <cerrno>

namespace lumo::sys {

// Repeats a system call for as long as a signal of the host program interrupts it.
template <class Call>
auto repeatInterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

}  // namespace lumo::sys
