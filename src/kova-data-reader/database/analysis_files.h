#pragma once

#include <filesystem>

#include "kova-data-reader/database/analysis_format.h"

namespace lumo::io::kova {

// The two files of an analysis.
struct AnalysisFiles {
    std::filesystem::path database;
    std::filesystem::path blob;
};

// Checks that the directory and both files are there. Raises std::runtime_error.
AnalysisFiles locateAnalysisFiles(const std::filesystem::path& directory, AnalysisFormat format);

}  // namespace lumo::io::kova
