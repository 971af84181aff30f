#include "kova-simulate/frame_synthesis.h"

#include <algorithm>
#include <cmath>

#include "kova-simulate/background.h"

// Every ion is placed by chance. What is expected to be many ions in one place is drawn as one number per
// sample, the rest ion by ion; both follow the same statistics, and together they take time in proportion to
// the peaks.
namespace simulator {

namespace {

constexpr double kWeakArrival = 5.0;  // ions; below, each finds its line by lot
constexpr double kWeakLine = 30.0;    // ions; below, each is placed by itself

double gaussian(double x) { return std::exp(-0.5 * x * x); }

}  // namespace

FrameSynthesis::FrameSynthesis(const Instrument& theInstrument, const FrameRecipe& theRecipe)
    : instrument(theInstrument),
      recipe(theRecipe),
      scanWidth(theInstrument.mobilityWidth()),
      frame(theInstrument.scanCount()) {}

const analysis_writer::Frame& FrameSynthesis::synthesise(std::span<const Arrival> arrivals, Random& random) {
    for (analysis_writer::Scan& scan : frame) {
        scan.clear();
    }
    for (const Arrival& arrival : arrivals) {
        addArrival(arrival, random);
    }
    addBackground(random);
    for (analysis_writer::Scan& scan : frame) {
        finishScan(scan);
    }
    return frame;
}

void FrameSynthesis::addArrival(const Arrival& arrival, Random& random) {
    const double ions = expectedIons(arrival, recipe.yield);
    if (ions < kWeakArrival) {
        addWeakArrival(arrival, ions, random);
        return;
    }
    for (const IsotopeLine& line : arrival.lines) {
        const double expected = ions * line.fraction;
        if (expected >= kWeakLine) {
            addStrongLine(arrival, line.index, expected, random);
            continue;
        }
        for (std::uint32_t left = random.poisson(expected); left > 0; --left) {
            addIon(arrival, line.index, random);
        }
    }
}

void FrameSynthesis::addWeakArrival(const Arrival& arrival, double ions, Random& random) {
    for (std::uint32_t left = random.poisson(ions); left > 0; --left) {
        double lot = random.uniform();
        for (const IsotopeLine& line : arrival.lines) {
            lot -= line.fraction;
            if (lot < 0.0) {
                addIon(arrival, line.index, random);
                break;
            }
        }
    }
}

void FrameSynthesis::addStrongLine(const Arrival& arrival, double index, double ions, Random& random) {
    const SampleShares shares = sampleShares(index);
    const auto firstSample = static_cast<std::int64_t>(std::floor(index + 0.5)) - kSampleReach;
    const double reach = kScanReach * scanWidth;
    const double begin = std::max<double>(arrival.scanBegin, std::ceil(arrival.scan - reach));
    const double end = std::min<double>({static_cast<double>(arrival.scanEnd), arrival.scan + reach + 1.0,
                                         static_cast<double>(instrument.scanCount())});
    for (auto scan = static_cast<std::uint32_t>(begin); scan < end; ++scan) {
        const double share = gaussian((scan - arrival.scan) / scanWidth) / (scanWidth * 2.5066282746310002);
        for (std::size_t i = 0; i < shares.size(); ++i) {
            const std::uint32_t count = random.poisson(ions * share * shares[i]);
            const std::int64_t sample = firstSample + static_cast<std::int64_t>(i);
            if (count > 0 && sample >= 0 && sample < instrument.sampleCount()) {
                frame[scan].push_back({static_cast<std::uint32_t>(sample), amplified(count, random)});
            }
        }
    }
}

void FrameSynthesis::addIon(const Arrival& arrival, double index, Random& random) {
    const auto [alongScans, alongSamples] = random.normalPair();
    const double scan = std::floor(arrival.scan + scanWidth * alongScans + 0.5);
    const double sample = std::floor(index + kSampleWidth * alongSamples + 0.5);
    const double scanEnd = std::min(arrival.scanEnd, instrument.scanCount());
    if (scan >= arrival.scanBegin && scan < scanEnd && sample >= 0.0 && sample < instrument.sampleCount()) {
        frame[static_cast<std::size_t>(scan)].push_back(
            {static_cast<std::uint32_t>(sample), amplified(1, random)});
    }
}

void FrameSynthesis::addBackground(Random& random) {
    for (std::uint32_t left = random.poisson(recipe.background); left > 0; --left) {
        const BackgroundPeak peak = backgroundPeak(instrument, random);
        frame[peak.scan].push_back(peak.peak);
    }
}

// Sorts a scan by index, adds up what fell into the same sample, and saturates the sums.
void FrameSynthesis::finishScan(analysis_writer::Scan& scan) const {
    std::sort(scan.begin(), scan.end(), [](const auto& a, const auto& b) { return a.index < b.index; });
    auto kept = scan.begin();
    for (auto peak = scan.begin(); peak != scan.end();) {
        std::uint64_t sum = 0;
        const std::uint32_t index = peak->index;
        for (; peak != scan.end() && peak->index == index; ++peak) {
            sum += peak->intensity;
        }
        *kept++ = {index, saturated(sum)};
    }
    scan.erase(kept, scan.end());
}

}  // namespace simulator
