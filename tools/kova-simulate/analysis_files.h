#pragma once

#include <filesystem>
#include <span>

namespace simulator {

// The files of an analysis, metadata last: it can be opened from then on.
std::span<const char* const> analysisFiles();

// Analysis files in a directory: raises std::runtime_error if there are any, or removes them and nothing
// else.
void refuseToReplace(const std::filesystem::path& directory);
void removeAnalysis(const std::filesystem::path& directory);

}  // namespace simulator
