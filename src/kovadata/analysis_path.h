#pragma once

#include <filesystem>

namespace lumo::io {

// The path that was given to an open call. Raises std::runtime_error "Invalid UTF-8", and
// std::invalid_argument for NULL. Whether there is anything at that path is found out by opening it.
std::filesystem::path checkedAnalysisPath(const char* directoryName);

}  // namespace lumo::io
