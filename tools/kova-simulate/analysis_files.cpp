#include "kova-simulate/analysis_files.h"

#include <stdexcept>
#include <string>

// What --force may remove: exactly the files that an analysis has, and nothing else in the directory.
namespace simulator {

namespace {

constexpr const char* kFiles[] = {"analysis.kvd_bin", "analysis.kvs_bin", "calibration.sqlite",
                                  "analysis.kvd", "analysis.kvs"};

}  // namespace

std::span<const char* const> analysisFiles() { return kFiles; }

void refuseToReplace(const std::filesystem::path& directory) {
    if (std::filesystem::exists(directory) && !std::filesystem::is_directory(directory)) {
        throw std::runtime_error(directory.string() + " is not a directory");
    }
    for (const char* const name : kFiles) {
        if (std::filesystem::exists(directory / name)) {
            throw std::runtime_error((directory / name).string() + " exists already; --force replaces it");
        }
    }
}

void removeAnalysis(const std::filesystem::path& directory) {
    for (const char* const name : kFiles) {
        std::filesystem::remove(directory / name);
    }
}

}  // namespace simulator
