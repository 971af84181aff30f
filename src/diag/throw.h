#pragma once

#include <boost/exception/enable_error_info.hpp>
#include <boost/exception/info.hpp>

#include "diag/stack_trace.h"

namespace lumo::diag {

using StackTraceInfo = boost::error_info<struct StackTraceTag, StackTrace>;

// Found by boost::diagnostic_information; renders the trace only when that text is asked for.
std::string to_string(const StackTraceInfo& info);

namespace details {

// The one way exceptions are raised: attaches where and from which call chain, while what() stays the plain
// message.
template <class Exception>
[[noreturn]] void do_throw_exception(const Exception& exception, const char* signature, const char* file,
                                     int line, StackTrace stackTrace) {
    throw boost::enable_error_info(exception)
        << boost::throw_function(signature) << boost::throw_file(file) << boost::throw_line(line)
        << StackTraceInfo(std::move(stackTrace));
}

}  // namespace details
}  // namespace lumo::diag

#define LUMO_THROW(exception)                                                                       \
    ::lumo::diag::details::do_throw_exception((exception), __PRETTY_FUNCTION__, __FILE__, __LINE__, \
                                              ::lumo::diag::StackTrace::capture())
