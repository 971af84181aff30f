#include "kova-data-reader/database/analysis_files.h"

#include <stdexcept>

#include "diag/throw.h"

// Where the files of an analysis are. All of them are looked for before any is opened, so a directory that is
// no analysis is reported as such and not as a database that cannot be opened.
namespace lumo::io::kova {

namespace fs = std::filesystem;

namespace {

void requireExisting(const fs::path& file) {
    std::error_code error;
    if (!fs::exists(file, error)) {
        LUMO_THROW(std::runtime_error(file.string() + " doesn't exist."));
    }
}

}  // namespace

AnalysisFiles locateAnalysisFiles(const fs::path& directory, AnalysisFormat format) {
    std::error_code error;
    const fs::file_status status = fs::status(directory, error);
    if (status.type() == fs::file_type::not_found || status.type() == fs::file_type::none) {
        LUMO_THROW(std::runtime_error("Specified analysis directory does not exist."));
    }
    if (!fs::is_directory(status)) {
        LUMO_THROW(std::runtime_error("Specified path is not a directory."));
    }
    AnalysisFiles files = format == AnalysisFormat::Mobility
                              ? AnalysisFiles{directory / "analysis.kvd", directory / "analysis.kvd_bin"}
                              : AnalysisFiles{directory / "analysis.kvs", directory / "analysis.kvs_bin"};
    requireExisting(files.database);
    requireExisting(files.blob);
    return files;
}

}  // namespace lumo::io::kova
