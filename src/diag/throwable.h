#pragma once

// What LUMO_THROW does, for the one source file of each type of exception that names it with LUMO_THROWABLE.
// Most files of the project throw, and the library used here takes long to compile, so it is kept out of
// them.

#include <utility>

#include <boost/exception/enable_error_info.hpp>
#include <boost/exception/info.hpp>

#include "diag/throw.h"

namespace lumo::diag {

using StackTraceInfo = boost::error_info<struct StackTraceTag, StackTrace>;

// Found by boost::diagnostic_information; renders the trace only when that text is asked for.
std::string to_string(const StackTraceInfo& info);

template <class Exception>
void details::do_throw_exception(const Exception& exception, const char* signature, const char* file,
                                 int line, StackTrace stackTrace) {
    throw boost::enable_error_info(exception)
        << boost::throw_function(signature) << boost::throw_file(file) << boost::throw_line(line)
        << StackTraceInfo(std::move(stackTrace));
}

}  // namespace lumo::diag

// Outside of any namespace, once for each type.
#define LUMO_THROWABLE(Exception)                                                                          \
    template void lumo::diag::details::do_throw_exception(const Exception&, const char*, const char*, int, \
                                                          ::lumo::diag::StackTrace)
