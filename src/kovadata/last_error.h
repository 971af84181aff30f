#pragma once

#include <cstdint>
#include <exception>

namespace lumo::io {

// The calling thread's last failure in one family of exported functions. Successes leave it as it is, and so
// do failures of other threads and families. Nothing here fails or raises.
template <class Interface>
class LastError {
public:
    static void set(const std::exception& error) noexcept;

    // Copies at most `size` bytes of the text, cut if need be but always terminated if there is room for
    // that, and returns the size of the whole text with its terminator. Without any failure so far the text
    // is "<no error>".
    static std::uint32_t copyTo(char* buffer, std::uint32_t size) noexcept;
};

}  // namespace lumo::io
