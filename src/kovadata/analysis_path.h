#pragma once

#include <filesystem>

namespace lumo::io {

// The path given to an open call. Raises std::runtime_error "Invalid UTF-8", and an error of its own for
// NULL.
std::filesystem::path checkedAnalysisPath(const char* directoryName);

}  // namespace lumo::io
