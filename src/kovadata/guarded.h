#pragma once

#include <exception>
#include <stdexcept>
#include <utility>

#include <cxxabi.h>

#include "kovadata/last_error.h"
#include "sys/cancellation.h"

namespace lumo::io {

// Runs the body of an exported function that cannot fail. The thread is not cancelled in there.
template <class Body>
auto uncancelled(Body&& body) {
    const sys::CancellationDisabled untilReturn;
    return std::forward<Body>(body)();
}

// Runs the body of an exported function. No exception passes: its text becomes the thread's last error and
// the result is `failure`. Only the unwinding of a thread that a callback ends, which must not be stopped,
// goes through.
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
