#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "analysis_handle.h"
#include "precursor_table.h"

namespace kova_tool {

// One MS/MS spectrum: the peaks of a line spectrum, or those bins of a profile that are not 0.
struct MsmsSpectrum {
    PrecursorRow precursor;
    std::vector<double> mz = {};
    std::vector<double> intensities = {};
    std::vector<std::uint32_t> indices = {};  // of a profile
    std::optional<std::uint32_t> bins = {};   // of a profile, those with 0 included
};

enum class MsmsForm { Peaks, Profile };

// Reads MS/MS spectra and hands them out in the order in which the library completes them.
class MsmsReader {
public:
    // Returns whether to go on.
    using Visitor = std::function<bool(const MsmsSpectrum&)>;

    // The analysis must outlive the reader.
    MsmsReader(const AnalysisHandle& openAnalysis, MsmsForm wantedForm);

    // Spectra of the wanted precursors, whose rows are given. Throws Failure with the library's text, and
    // whatever the visitor throws.
    void read(const PrecursorSelection& selection, std::span<const PrecursorRow> rows,
              const Visitor& visitor);

private:
    struct Call;

    std::uint32_t readPrecursors(std::span<const std::int64_t> ids, Call& call);
    std::uint32_t readFrame(std::int64_t frame, Call& call);
    void end(const Call& call, std::uint32_t result) const;
    bool receiveLines(Call& call, std::int64_t id, std::span<const double> mz,
                      std::span<const float> intensities);
    bool receiveProfile(Call& call, std::int64_t id, std::span<const std::int32_t> bins);

    const AnalysisHandle& analysis;
    MsmsForm form;
};

}  // namespace kova_tool
