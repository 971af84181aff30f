#pragma once

#include "diag/stack_trace.h"

namespace lumo::diag::details {

// The one way in which exceptions are raised: attaches where and from which call chain, while what() stays
// the plain message. Compiled once for each type of exception, where LUMO_THROWABLE (diag/throwable.h) names
// it.
template <class Exception>
[[noreturn]] void do_throw_exception(const Exception& exception, const char* signature, const char* file,
                                     int line, StackTrace stackTrace);

}  // namespace lumo::diag::details

#define LUMO_THROW(exception)                                                                       \
    ::lumo::diag::details::do_throw_exception((exception), __PRETTY_FUNCTION__, __FILE__, __LINE__, \
                                              ::lumo::diag::StackTrace::capture())
