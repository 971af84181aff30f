#pragma once

#include <exception>
#include <stdexcept>
#include <utility>

#include <cxxabi.h>

#include "kovadata/last_error.h"
#include "sys/cancellation.h"

// The one place where exceptions of the library stop. Every exported function runs its body in one of these
// two, and nothing else of an exported function may raise.
namespace lumo::io {

// Runs the body of an exported function that cannot fail. Its thread is not cancelled meanwhile, see
// sys/cancellation.h.
template <class Body>
auto uncancelled(Body&& body) {
    const sys::CancellationDisabled untilReturn;
    return std::forward<Body>(body)();
}

// Runs the body of an exported function that can fail. No exception leaves it: the text becomes the thread's
// last error, and the result is `failure`. One thing must not be stopped and goes through, the unwinding of a
// thread that the caller's own callback ends.
template <class Interface, class Result, class Body>
Result guarded(Result failure, Body&& body) {
    return uncancelled([&] {
        try {
            return std::forward<Body>(body)();
        } catch (const std::exception& error) {
            LastError<Interface>::set(error);
        } catch (const abi::__forced_unwind&) {
            throw;
        } catch (...) {
            LastError<Interface>::set(std::runtime_error("Unknown exception."));
        }
        return failure;
    });
}

}  // namespace lumo::io
