#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "analysis_handle.h"
#include "metadata_database.h"

namespace kova_tool {

// What the spectra of a spectrum-format analysis consist of.
struct SpectrumParts {
    bool lines = false;
    bool widths = false;  // of the lines
    bool profiles = false;
};

SpectrumParts spectrumParts(const MetadataDatabase& database);

// The lines of one spectrum. A view into the SpectrumReader that read them: valid until its next read.
struct LineSpectrum {
    std::span<const double> positions;
    std::span<const float> intensities;
    std::optional<std::span<const float>> widths;  // if the analysis has them
};

// Reads spectra into buffers that grow to the largest one. Failures of the library are thrown as Failure.
class SpectrumReader {
public:
    // The analysis must outlive the reader.
    SpectrumReader(const AnalysisHandle& openAnalysis, SpectrumParts analysisParts)
        : analysis(openAnalysis), parts(analysisParts) {}

    LineSpectrum readLines(std::int64_t spectrum);
    std::span<const std::uint32_t> readProfile(std::int64_t spectrum);

    std::size_t lineCount(std::int64_t spectrum) const;
    std::size_t profilePoints(std::int64_t spectrum) const;

private:
    std::uint32_t callLines(std::int64_t spectrum);

    const AnalysisHandle& analysis;
    SpectrumParts parts;
    std::vector<double> positions;
    std::vector<float> intensities;
    std::vector<float> widths;
    std::vector<std::uint32_t> profile;
};

}  // namespace kova_tool
