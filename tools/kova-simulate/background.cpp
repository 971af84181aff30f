#include "kova-simulate/background.h"

#include <cmath>

#include "kova-simulate/detector.h"

// Masses of organic molecules lie close to multiples of one mass per nucleon, so background ions do too:
// noise spread evenly would look like no instrument's.
namespace simulator {

namespace {

constexpr double kDigitizerShare = 0.3;
constexpr double kMassPerNucleon = 1.00048;

// An ion of the chemical background; false if it falls outside the frame.
bool placeIon(const Instrument& instrument, Random& random, BackgroundPeak& placed) {
    const double nucleons = std::floor(110.0 - 260.0 * std::log(1.0 - random.uniform()));
    const auto [massDefect, shape] = random.normalPair();
    const double mz = nucleons * kMassPerNucleon + 1e-4 * nucleons * massDefect + 0.01;
    const double ccs = Instrument::peptideCcs(mz, 1) * (1.0 + 0.04 * shape);
    const double scan = instrument.scanOf(Instrument::oneOverK0(ccs, 1, mz));
    const double index = instrument.indexOf(mz);
    if (!(scan >= 0.0 && scan < instrument.scanCount() && index >= 0.0 && index < instrument.sampleCount())) {
        return false;
    }
    placed = {static_cast<std::uint32_t>(scan), {static_cast<std::uint32_t>(index), amplified(1, random)}};
    return true;
}

}  // namespace

BackgroundPeak backgroundPeak(const Instrument& instrument, Random& random) {
    BackgroundPeak placed{};
    if (random.uniform() >= kDigitizerShare && placeIon(instrument, random, placed)) {
        return placed;
    }
    return {random.below(instrument.scanCount()),
            {random.below(instrument.sampleCount()), 4 + random.below(9)}};
}

}  // namespace simulator
