#pragma once

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

namespace fuzz {

// Ends the program when a target's expectation does not hold; the fuzzer then keeps the input.
inline void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}

// The text with which `action` fails, "" when it does not. Only standard exceptions may leave the readers.
std::string failureOf(auto&& action) {
    try {
        action();
        return "";
    } catch (const std::exception& error) {
        require(*error.what() != '\0', "a failure has a text");
        return error.what();
    }
}

bool succeeds(auto&& action) { return failureOf(action).empty(); }

}  // namespace fuzz
