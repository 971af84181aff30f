#pragma once

#include <filesystem>

namespace lumo::io::kova {

// The two files of an analysis, with mobility ("analysis.kvd") or without ("analysis.kvs").
struct AnalysisFiles {
    std::filesystem::path database;
    std::filesystem::path blob;
};

// Checks that the directory and both files are there. Raises std::runtime_error.
AnalysisFiles locateAnalysisFiles(const std::filesystem::path& directory, bool isKvd);

}  // namespace lumo::io::kova
