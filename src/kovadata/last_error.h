#pragma once

#include <cstdint>
#include <exception>

namespace lumo::io {

// The calling thread's last failure in one family of exported functions. Successes leave it as it is.
template <class Interface>
class LastError {
public:
    static void set(const std::exception& error) noexcept;

    // Copies at most `size` bytes of the text, terminated, and returns the size of the whole text with its
    // terminator.
    static std::uint32_t copyTo(char* buffer, std::uint32_t size) noexcept;
};

}  // namespace lumo::io
