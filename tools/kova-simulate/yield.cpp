#include "kova-simulate/yield.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "kova-simulate/detector.h"

// How strong the sample must be so that frames have the number of peaks that was asked for. Peaks grow more
// slowly than ions, since ions meet in samples, so the yield is searched by halving an interval, on the
// expected numbers of a few frames.
namespace simulator {

namespace {

constexpr double kSignalShare = 0.8;     // of the peaks of a frame
constexpr double kTrapCapacity = 3e5;    // ions of a kind in one frame
constexpr double kMostOverfilled = 100;  // how many times the strongest arrival may exceed that

// How many samples in how many scans a line of so many ions reaches on average: a peak for each that gets an
// ion. Tabulated over the logarithm of the number of ions.
class LineResponse {
public:
    explicit LineResponse(double scanWidth) {
        const SampleShares samples = sampleShares(0.0);
        const int reach = static_cast<int>(std::ceil(kScanReach * scanWidth));
        for (std::size_t i = 0; i < table.size(); ++i) {
            const double ions = std::exp(kFirst + kStep * static_cast<double>(i));
            for (int scan = -reach; scan <= reach; ++scan) {
                const double x = scan / scanWidth;
                const double share = std::exp(-0.5 * x * x) / (scanWidth * 2.5066282746310002);
                for (const double sample : samples) {
                    table[i] += 1.0 - std::exp(-ions * share * sample);
                }
            }
        }
    }

    double peaks(double ions) const {
        const double place = (std::log(ions) - kFirst) / kStep;
        if (!(place > 0.0)) {
            return ions;  // so few never meet in a sample
        }
        const double bounded = std::min(place, static_cast<double>(table.size()) - 1.5);
        const auto i = static_cast<std::size_t>(bounded);
        return std::lerp(table[i], table[i + 1], bounded - static_cast<double>(i));
    }

private:
    static constexpr double kFirst = -3.0;
    static constexpr double kStep = 0.25;
    std::array<double, 64> table{};
};

double meanPeaks(std::span<const std::vector<Arrival>> frames, double yield, const LineResponse& response) {
    double sum = 0.0;
    for (const std::vector<Arrival>& frame : frames) {
        for (const Arrival& arrival : frame) {
            const double ions = expectedIons(arrival, yield);
            for (const IsotopeLine& line : arrival.lines) {
                sum += response.peaks(ions * line.fraction);
            }
        }
    }
    return sum / static_cast<double>(frames.size());
}

double strongestIntensity(std::span<const std::vector<Arrival>> frames) {
    double strongest = 0.0;
    for (const std::vector<Arrival>& frame : frames) {
        for (const Arrival& arrival : frame) {
            strongest = std::max(strongest, arrival.intensity);
        }
    }
    return strongest;
}

}  // namespace

double expectedIons(const Arrival& arrival, double yield) {
    const double offered = yield * arrival.intensity;
    return offered / (1.0 + offered / kTrapCapacity);
}

FrameRecipe findRecipe(std::span<const std::vector<Arrival>> frames, std::uint32_t peaks, double scanWidth) {
    const double strongest = strongestIntensity(frames);
    if (!(strongest > 0.0)) {
        return {0.0, static_cast<double>(peaks)};
    }
    const LineResponse response(scanWidth);
    const double wanted = kSignalShare * peaks;
    double low = std::log(1e-3 / strongest);
    double high = std::log(kMostOverfilled * kTrapCapacity / strongest);
    for (int step = 0; step < 24; ++step) {
        const double middle = 0.5 * (low + high);
        (meanPeaks(frames, std::exp(middle), response) < wanted ? low : high) = middle;
    }
    const double yield = std::exp(low);
    return {yield, std::max((1.0 - kSignalShare) * peaks, peaks - meanPeaks(frames, yield, response))};
}

}  // namespace simulator
