#include "kovarun/run/reader.h"

#include <stdexcept>
#include <system_error>

#include "diag/throw.h"

// An opened analysis of either format. Whether a caller may go on with the calibration of the acquisition,
// when the state asked for is not there, is decided here and not in the readers below, which always may.
namespace lumo::run {

namespace {

bool holds(const std::filesystem::path& directory, const char* name) {
    std::error_code ignored;
    return std::filesystem::exists(directory / name, ignored);
}

}  // namespace

AnalysisFormat formatOf(const std::filesystem::path& directory) {
    const bool isSpectra = holds(directory, "analysis.kvs") && !holds(directory, "analysis.kvd");
    return isSpectra ? AnalysisFormat::Spectra : AnalysisFormat::Mobility;
}

Reader::Reader(const std::filesystem::path& directory, AnalysisFormat format, const RunOptions& options) {
    if (format == AnalysisFormat::Mobility) {
        opened = std::make_unique<io::kova::KvdReader>(directory, options.selector);
    } else {
        opened = std::make_unique<io::kova::KvsReader>(directory, options.selector);
    }
    if (options.selector && !options.allowsFallback && !opened->usingStateFromCalibrationFile()) {
        LUMO_THROW(std::runtime_error("The analysis has no such calibration state: " +
                                      options.selector->to_string()));
    }
}

// The casts are how a query of one format is refused by an analysis of the other: exported functions call
// these for that alone.
io::kova::KvdReader& Reader::frames() const {
    auto* const reader = dynamic_cast<io::kova::KvdReader*>(opened.get());
    if (reader == nullptr) {
        LUMO_THROW(std::invalid_argument("The analysis has spectra without mobility, not frames of scans."));
    }
    return *reader;
}

io::kova::KvsReader& Reader::spectra() const {
    auto* const reader = dynamic_cast<io::kova::KvsReader*>(opened.get());
    if (reader == nullptr) {
        LUMO_THROW(std::invalid_argument("The analysis has frames of scans, not spectra without mobility."));
    }
    return *reader;
}

}  // namespace lumo::run
