#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "kova/run/run.h"

namespace kova_tool {

// The lines of one spectrum. A view into the SpectrumReader that read them: valid until its next read.
struct LineColumns {
    std::span<const double> positions;
    std::optional<std::span<const double>> mz;  // if there is a calibration
    std::span<const float> intensities;
    std::optional<std::span<const float>> widths;  // if the analysis has them
};

// Reads spectra without mobility one by one. Failures of the library are thrown as Failure.
class SpectrumReader {
public:
    // The run must outlive the reader.
    explicit SpectrumReader(const Run& openRun) : run(openRun) {}

    LineColumns readLines(std::int64_t spectrum);
    std::span<const std::uint32_t> readProfile(std::int64_t spectrum);

private:
    ArrowStream& read(std::int64_t spectrum, kvr_spectrum_kind kind);

    const Run& run;
    std::optional<ArrowStream> stream;
};

}  // namespace kova_tool
