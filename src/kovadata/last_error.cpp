#include "kovadata/last_error.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include <boost/exception/diagnostic_information.hpp>

#include "diag/throw.h"
#include "kovadata/interface_family.h"
#include "logging/logger.h"

namespace lumo::io {

namespace {

template <class Interface>
std::optional<std::string>& slot() noexcept {
    thread_local std::optional<std::string> text;
    return text;
}

template <class Interface>
void logDiagnostics(const std::exception& error) {
    const auto logger = logging::Logger::getLogger(Interface::loggerName);
    if (!logger.isEnabled(logging::Level::Debug)) {
        return;
    }
    const std::string diagnostics = boost::diagnostic_information(error);
    if (!diagnostics.empty()) {
        LUMO_LOG(logger, Debug,
                 "Caught std::exception with boost::diagnostic_information = \n"
                     << diagnostics);
    }
}

}  // namespace

template <class Interface>
void LastError<Interface>::set(const std::exception& error) noexcept {
    try {
        logDiagnostics<Interface>(error);
    } catch (...) {
        // The text matters more than its diagnostics.
    }
    try {
        slot<Interface>() = error.what();
    } catch (...) {
        slot<Interface>() = "std::bad_alloc";  // short enough to need no memory of its own
    }
}

template <class Interface>
std::uint32_t LastError<Interface>::copyTo(char* buffer, std::uint32_t size) noexcept {
    const std::optional<std::string>& stored = slot<Interface>();
    const std::string_view text = stored ? std::string_view(*stored) : "<no error>";
    if (size != 0) {
        const std::size_t copied = std::min<std::size_t>(size, text.size() + 1) - 1;
        std::memcpy(buffer, text.data(), copied);
        buffer[copied] = '\0';
    }
    return static_cast<std::uint32_t>(text.size() + 1);
}

template class LastError<KovaInterface>;
template class LastError<KvsInterface>;

}  // namespace lumo::io
