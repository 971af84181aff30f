#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "kova/run/long_call.h"
#include "kova/run/precursor_table.h"

namespace kova_tool {

// Which precursors are wanted: these, those of an MS1 frame, or all when neither is given.
struct PrecursorSelection {
    std::vector<std::int64_t> ids;
    std::optional<std::int64_t> frame;
};

// One MS/MS spectrum: the peaks of a line spectrum, or those bins of a profile that are not 0.
struct MsmsSpectrum {
    PrecursorRow precursor;
    std::vector<double> mz = {};
    std::vector<double> intensities = {};
    std::vector<std::uint32_t> indices = {};  // of a profile
    std::optional<std::uint32_t> bins = {};   // of a profile, those with 0 included
};

// Reads MS/MS spectra in the order in which their last frames come. Failures are thrown as Failure.
class MsmsReader {
public:
    // The run, the rows of all precursors and the call must outlive the reader.
    MsmsReader(const Run& openRun, kvr_spectrum_kind spectrumKind, const PrecursorSelection& selection,
               std::span<const PrecursorRow> precursors, const LongCall& call);

    // The next spectrum, none at the end.
    std::optional<MsmsSpectrum> next();

private:
    MsmsSpectrum currentProfile(MsmsSpectrum spectrum) const;

    const Run& run;
    kvr_spectrum_kind kind;
    std::span<const PrecursorRow> rows;
    ArrowStream stream;
    std::size_t given = 0;  // of the current batch
    std::size_t batchRows = 0;
};

}  // namespace kova_tool
