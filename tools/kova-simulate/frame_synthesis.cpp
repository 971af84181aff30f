#include "kova-simulate/frame_synthesis.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace simulator {

namespace {

constexpr double kSignalShare = 0.8;  // of the peaks of a frame; the rest is noise
constexpr double kBinWidth = 1.3;     // standard deviation of a time-of-flight peak, in samples
constexpr int kBinReach = 4;          // samples on each side of a peak's centre
constexpr double kScanReach = 3.0;    // standard deviations on each side of a mobility peak's centre
constexpr double kGain = 9.0;         // detector counts per ion
constexpr double kFewCounts = 6.0;    // below, ions are placed one by one

double gaussian(double x) { return std::exp(-0.5 * x * x); }

std::size_t peakCount(const analysis_writer::Frame& frame) {
    return std::accumulate(
        frame.begin(), frame.end(), std::size_t{0},
        [](std::size_t sum, const analysis_writer::Scan& scan) { return sum + scan.size(); });
}

std::uint32_t detectorIntensity(std::uint32_t ions, Random& random) {
    const double value = ions * kGain * (0.75 + 0.5 * random.uniform());
    return static_cast<std::uint32_t>(value) + 1;
}

}  // namespace

FrameSynthesis::FrameSynthesis(std::uint32_t scanCount, std::uint32_t sampleCount, std::uint32_t targetPeaks)
    : scans(scanCount),
      samples(sampleCount),
      target(targetPeaks),
      scanWidth(std::max(1.0, 0.0075 * scanCount)),
      frame(scanCount) {}

const analysis_writer::Frame& FrameSynthesis::synthesise(std::span<const Arrival> arrivals, Random& random) {
    // Signal peaks should make up their share of the target. The yield that reaches it drifts slowly along the run, so the
    // last frame's is a good start; a frame that misses by much is made again.
    const double wanted = kSignalShare * target;
    std::size_t signal = 0;
    for (int attempt = 0; attempt < (adapted ? 3 : 12); ++attempt) {
        clear();
        addArrivals(arrivals, yield, random);
        signal = mergeDuplicates();
        const double ratio = wanted / static_cast<double>(std::max<std::size_t>(signal, 1));
        yield = std::clamp(yield * std::pow(ratio, 1.3), 1e-9, 1e15);
        if (ratio > 0.9 && ratio < 1.2) {
            adapted = true;
            break;
        }
    }
    addNoise(signal < target ? target - signal : 0, random);
    mergeDuplicates();
    return frame;
}

void FrameSynthesis::clear() {
    for (analysis_writer::Scan& scan : frame) {
        scan.clear();
    }
}

void FrameSynthesis::addArrivals(std::span<const Arrival> arrivals, double yieldOfFrame, Random& random) {
    const double norm = 1.0 / (scanWidth * std::sqrt(2.0 * 3.14159265358979));
    for (const Arrival& arrival : arrivals) {
        const double reach = kScanReach * scanWidth;
        const auto first = static_cast<std::uint32_t>(std::max(0.0, std::ceil(arrival.scan - reach)));
        const auto last = static_cast<std::uint32_t>(std::clamp(arrival.scan + reach, 0.0, scans - 1.0));
        for (std::uint32_t scan = first; scan <= last; ++scan) {
            const double share = norm * gaussian((scan - arrival.scan) / scanWidth);
            const double counts = yieldOfFrame * arrival.counts * share;
            for (const IsotopeLine& line : arrival.lines) {
                addLine(frame[scan], line.index, counts * line.fraction, random);
            }
        }
    }
}

void FrameSynthesis::addLine(analysis_writer::Scan& scan, double centre, double counts, Random& random) {
    if (counts < kFewCounts) {
        for (std::uint32_t ions = random.poisson(counts); ions > 0; --ions) {
            const double index = centre + kBinWidth * random.normal() + 0.5;
            if (index >= 0.0 && index < samples) {
                scan.push_back({static_cast<std::uint32_t>(index), detectorIntensity(1, random)});
            }
        }
        return;
    }
    constexpr double kNorm = 1.0 / (kBinWidth * 2.5066282746310002);
    const auto middle = static_cast<std::int64_t>(centre + 0.5);
    for (std::int64_t bin = middle - kBinReach; bin <= middle + kBinReach; ++bin) {
        const double expected = counts * kNorm * gaussian((static_cast<double>(bin) - centre) / kBinWidth);
        const std::uint32_t ions = random.poisson(expected);
        if (ions > 0 && bin >= 0 && bin < samples) {
            scan.push_back({static_cast<std::uint32_t>(bin), detectorIntensity(ions, random)});
        }
    }
}

void FrameSynthesis::addNoise(std::size_t peaks, Random& random) {
    for (; peaks > 0; --peaks) {
        frame[random.below(scans)].push_back({random.below(samples), 4 + random.below(9)});
    }
}

// Sorts each scan by index and adds up what fell into the same sample. Returns the number of peaks.
std::size_t FrameSynthesis::mergeDuplicates() {
    for (analysis_writer::Scan& scan : frame) {
        std::sort(scan.begin(), scan.end(), [](const auto& a, const auto& b) { return a.index < b.index; });
        auto kept = scan.begin();
        for (auto peak = scan.begin(); peak != scan.end(); ++peak) {
            if (kept != scan.begin() && std::prev(kept)->index == peak->index) {
                std::prev(kept)->intensity += peak->intensity;
            } else {
                *kept++ = *peak;
            }
        }
        scan.erase(kept, scan.end());
    }
    return peakCount(frame);
}

}  // namespace simulator
