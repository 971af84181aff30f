#include "kova-simulate/spectra.h"

#include <cstddef>

// What an instrument without mobility would record: the sum of all scans, and its local maxima as lines.
namespace simulator {

namespace {

constexpr std::uint32_t kSmallestLine = 40;

// Samples around `apex` that reach at least half of it.
double widthAtHalfHeight(const std::vector<std::uint32_t>& profile, std::size_t apex) {
    const std::uint32_t half = profile[apex] / 2;
    std::size_t first = apex;
    std::size_t last = apex;
    while (first > 0 && profile[first - 1] > half) {
        --first;
    }
    while (last + 1 < profile.size() && profile[last + 1] > half) {
        ++last;
    }
    return static_cast<double>(last - first + 1);
}

// Centre of gravity of the apex and its neighbours.
double centre(const std::vector<std::uint32_t>& profile, std::size_t apex) {
    double weight = 0.0;
    double moment = 0.0;
    for (std::size_t i = apex - 1; i <= apex + 1; ++i) {
        weight += profile[i];
        moment += static_cast<double>(profile[i]) * static_cast<double>(i);
    }
    return moment / weight;
}

}  // namespace

analysis_writer::Spectrum spectrumOf(const analysis_writer::Frame& frame, std::uint32_t samples) {
    analysis_writer::Spectrum spectrum;
    spectrum.profile.assign(samples, 0);
    for (const analysis_writer::Scan& scan : frame) {
        for (const analysis_writer::Peak& peak : scan) {
            spectrum.profile[peak.index] += peak.intensity;
        }
    }
    const std::vector<std::uint32_t>& profile = spectrum.profile;
    for (std::size_t i = 1; i + 1 < profile.size(); ++i) {
        if (profile[i] >= kSmallestLine && profile[i] > profile[i - 1] && profile[i] >= profile[i + 1]) {
            spectrum.lines.positions.push_back(centre(profile, i));
            spectrum.lines.intensities.push_back(static_cast<float>(profile[i]));
            spectrum.lines.widths.push_back(static_cast<float>(widthAtHalfHeight(profile, i)));
        }
    }
    return spectrum;
}

}  // namespace simulator
