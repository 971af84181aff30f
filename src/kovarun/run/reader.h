#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "kova-data-reader/database/analysis_format.h"
#include "kova-data-reader/kvd_reader.h"
#include "kova-data-reader/kvs_reader.h"
#include "kovarun/run/run_options.h"

namespace lumo::run {

using io::kova::AnalysisFormat;

// The format of the analysis in a directory: that without mobility only if its database is there and the
// other is not.
AnalysisFormat formatOf(const std::filesystem::path& directory);

// An analysis as one thread reads it: connection, blob file and caches of its own.
class Reader {
public:
    // Raises what opening raises, and a text of its own for a calibration that is not there and must be.
    Reader(const std::filesystem::path& directory, AnalysisFormat format, const RunOptions& options);

    io::kova::AnalysisReader& analysis() const { return *opened; }
    // Each raises std::invalid_argument for the other format.
    io::kova::KvdReader& frames() const;
    io::kova::KvsReader& spectra() const;

private:
    std::unique_ptr<io::kova::AnalysisReader> opened;
};

}  // namespace lumo::run
