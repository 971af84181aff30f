#pragma once

#include <cstdint>
#include <vector>

namespace analysis_writer {

// A frame in memory: scans of peaks. Writers expect ascending indices but do not all insist, so that tests
// can write what readers must refuse.
struct Peak {
    std::uint32_t index = 0;
    std::uint32_t intensity = 0;

    friend bool operator==(const Peak&, const Peak&) = default;
};

using Scan = std::vector<Peak>;
using Frame = std::vector<Scan>;

// One spectrum of an analysis without mobility. The three line arrays have the same length; widths may be
// empty.
struct SpectrumLines {
    std::vector<double> positions;
    std::vector<float> intensities;
    std::vector<float> widths;
};

struct Spectrum {
    SpectrumLines lines;
    std::vector<std::uint32_t> profile;
};

}  // namespace analysis_writer
