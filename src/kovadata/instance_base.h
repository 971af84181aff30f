#pragma once

#include <filesystem>
#include <optional>

#include "calibration-state/calibration_state_selector.h"
#include "logging/logger.h"

namespace lumo::io {

// What the handles of both interface families point to: a logger and a reader, owned by value. Opening the
// reader is all that can fail in making one, so an instance that exists is usable.
template <class InterfaceFamily, class ReaderType>
class InstanceBase {
public:
    using Interface = InterfaceFamily;

    using Selector = std::optional<calibration::CalibrationStateSelector>;

    InstanceBase(const std::filesystem::path& directory, const Selector& selector)
        : logger(logging::Logger::getLogger(Interface::kLoggerName)), reader(directory, selector) {
        // After the reader is open, so a handle that could not be opened leaves no such message.
        LUMO_LOG(logger, Debug, "instantiated.");
    }

    const logging::Logger& getLogger() const { return logger; }
    ReaderType& getReader() { return reader; }

protected:
    logging::Logger logger;
    ReaderType reader;
};

}  // namespace lumo::io
