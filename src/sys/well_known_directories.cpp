#include "sys/well_known_directories.h"

#include "sys/environment.h"

namespace lumo::sys {

namespace {

std::optional<std::filesystem::path> absoluteDirectory(const char* variable) {
    const auto value = environmentVariable(variable);
    return value && value->front() == '/' ? std::optional<std::filesystem::path>(*value) : std::nullopt;
}

}  // namespace

std::optional<std::filesystem::path> userConfigurationDirectory() {
    if (auto configured = absoluteDirectory("XDG_CONFIG_HOME")) {
        return configured;
    }
    const auto home = homeDirectory();
    return home ? std::optional(*home / ".config") : std::nullopt;
}

std::optional<std::filesystem::path> homeDirectory() { return absoluteDirectory("HOME"); }

}  // namespace lumo::sys
