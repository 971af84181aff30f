#pragma once

#include <filesystem>

#include "logging/logger.h"

namespace lumo::io {

// What the handles of both interface families point to: a logger and a reader, owned by value.
template <class InterfaceFamily, class ReaderType>
class InstanceBase {
public:
    using Interface = InterfaceFamily;

    InstanceBase(const std::filesystem::path& directory, bool useRecalibratedState)
        : logger(logging::Logger::getLogger(Interface::loggerName)), reader(directory, useRecalibratedState) {
        LUMO_LOG(logger, Debug, "instantiated.");
    }

    const logging::Logger& getLogger() const { return logger; }
    ReaderType& getReader() { return reader; }

protected:
    logging::Logger logger;
    ReaderType reader;
};

}  // namespace lumo::io
