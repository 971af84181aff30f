#pragma once

#include <filesystem>
#include <optional>

namespace lumo::sys {

// By the XDG base directory rules: $XDG_CONFIG_HOME if that is an absolute path, otherwise ~/.config. Nothing
// when the environment names neither, or may not be trusted.
std::optional<std::filesystem::path> userConfigurationDirectory();

// $HOME if that is an absolute path.
std::optional<std::filesystem::path> homeDirectory();

}  // namespace lumo::sys
