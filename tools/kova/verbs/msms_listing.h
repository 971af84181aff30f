#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "kova/output/output_buffer.h"
#include "kova/output/output_format.h"
#include "kova/output/table_writer.h"
#include "kova/verbs/msms_output.h"

namespace kova_tool {

// The peaks with the largest intensities, the largest first; of equal ones that with the lower m/z.
std::vector<std::size_t> strongestPeaks(const MsmsSpectrum& spectrum, std::size_t count);

// Leaves the strongest peaks in a spectrum, in their order.
MsmsSpectrum onlyStrongest(const MsmsSpectrum& spectrum, std::size_t count);

// What one row of a list stands for.
enum class MsmsDetail { Spectra, Peaks, ProfilePoints };

// Writes spectra as they come, as rows; as JSON, one object per spectrum with
// its peaks in arrays.
class MsmsListing final : public MsmsOutput {
public:
    // A row per spectrum shows this many of its strongest peaks.
    MsmsListing(OutputFormat outputFormat, MsmsDetail listDetail, std::size_t shownPeaks);

    bool add(const MsmsSpectrum& spectrum) override;
    void end() override;

private:
    void addJson(const MsmsSpectrum& spectrum);
    void addSummary(const MsmsSpectrum& spectrum);
    void addPeaks(const MsmsSpectrum& spectrum);

    OutputBuffer out;
    OutputFormat format;
    MsmsDetail detail;
    std::size_t strongest;
    std::optional<TableWriter> table;
    bool hasObjects = false;
};

}  // namespace kova_tool
