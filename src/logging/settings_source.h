#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "logging/settings.h"

namespace lumo::logging {

inline constexpr const char* kConfigurationFileName = "kovadata-log.ini";

// What the search for a configuration depends on. Passed as an argument, so that the search can be tested
// without changing the environment of the test.
struct Surroundings {
    std::optional<std::string> logConfig;  // KOVADATA_LOG_CONFIG
    std::optional<std::string> logLevel;   // KOVADATA_LOG_LEVEL
    std::filesystem::path currentDirectory;
    std::optional<std::filesystem::path> userConfigurationDirectory;

    static Surroundings ofThisProcess();
};

// The first of: the file that KOVADATA_LOG_CONFIG names, kovadata-log.ini in the current directory, in the
// folder kovadata of the user's configuration directory. KOVADATA_LOG_LEVEL replaces the file's root level;
// without a file it makes everything from that level on go to standard error; "off" leaves logging off
// whatever the files say. Nothing when nothing asks for logging. Fails with ConfigurationError.
std::optional<Settings> findSettings(const Surroundings& surroundings);

}  // namespace lumo::logging
