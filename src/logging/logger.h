#pragma once

#include <atomic>
#include <locale>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

#include "logging/level.h"

namespace lumo::logging {

class LoggerImpl;

// A named logger: a shared reference to one implementation per name. Copies are cheap. All members may be
// called from any thread. Without a configuration every logger is off, and a disabled message costs one load
// and a branch.
//
// The threshold is an atomic of the shared implementation that is read without ordering: other threads see a
// change of configuration soon, but not necessarily with their next message. That is good enough and costs
// nothing on the hot path. Writing a message never fails for the caller, whatever happens to the sinks.
class Logger {
public:
    // Names are dotted ("lumo.io.kovadata_dll"); a name's configuration covers the names below it.
    static Logger getLogger(std::string_view name);

    bool isEnabled(Level level) const noexcept {
        return static_cast<int>(level) >= threshold->load(std::memory_order_relaxed);
    }

    // Writes a finished message; callers use the macros below, which format only when the level is enabled.
    void write(Level level, const std::string& message) const noexcept;

private:
    explicit Logger(std::shared_ptr<LoggerImpl> shared);

    std::shared_ptr<LoggerImpl> impl;
    const std::atomic<int>* threshold;  // the lowest level enabled, within *impl
};

}  // namespace lumo::logging

namespace lumo::logging {

// The benchmark of what disabled messages cost builds the library a second time without any.
#ifdef KOVADATA_NO_LOGGING
inline constexpr bool kMessagesCompiledIn = false;
#else
inline constexpr bool kMessagesCompiledIn = true;
#endif

}  // namespace lumo::logging

// LUMO_LOG(logger, Debug, "text " << value): the stream expression is evaluated only when the level is
// enabled. Numbers are written as the C locale has them, whatever the host program's is.
#define LUMO_LOG(logger, level, expression)                                         \
    do {                                                                            \
        if constexpr (::lumo::logging::kMessagesCompiledIn) {                       \
            if ((logger).isEnabled(::lumo::logging::Level::level)) {                \
                std::ostringstream lumoLogStream;                                   \
                lumoLogStream.imbue(std::locale::classic());                        \
                lumoLogStream << expression;                                        \
                (logger).write(::lumo::logging::Level::level, lumoLogStream.str()); \
            }                                                                       \
        }                                                                           \
    } while (false)
