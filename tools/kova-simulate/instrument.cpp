#include "kova-simulate/instrument.h"

#include <algorithm>
#include <cmath>

// The formulas of the calibrations in the direction from molecule to detector, written here a second time:
// agreement with the library is a test of both.
namespace simulator {

namespace {

constexpr double kTimebase = 0.2;
constexpr double kDelay = 24000.0;
constexpr double kC0 = 300.0;
constexpr double kC1 = 160000.0;
constexpr double kC2 = 0.005;

constexpr double kRampDelay = 1.0;
constexpr double kRampStart = 190.0;
constexpr double kRampEnd = 70.0;
constexpr double kTransitTime = 33.0;
constexpr double kMobilityC0 = 0.01737;
constexpr double kMobilityC1 = 115.45;

}  // namespace

Instrument::Instrument(std::uint32_t scanCount, std::uint32_t sampleCount)
    : scans(scanCount), samples(sampleCount) {
    mzRow.digitizerTimebase = kTimebase;
    mzRow.digitizerDelay = kDelay;
    mzRow.coefficients = {kC0, kC1, kC2, 0.0, 0.0};
    mobilityRow.coefficients = {kRampDelay,   static_cast<double>(scanCount),
                                kRampStart,   kRampEnd,
                                kTransitTime, 1.0,
                                kMobilityC0,  kMobilityC1,
                                60.0,         200.0};
}

double Instrument::indexOf(double mz) const {
    const double time = kC0 + std::sqrt(1e12 / kC1 * mz) + kC2 * mz;
    return (time - kDelay) / kTimebase;
}

double Instrument::scanOf(double oneOverK0) const {
    const double voltage = kMobilityC1 / (1.0 / oneOverK0 - kMobilityC0);
    const double slope = (kRampEnd - kRampStart) / static_cast<double>(scans);
    return (voltage - kRampStart) / slope + kRampDelay + kTransitTime;
}

double Instrument::oneOverK0(double ccs, int charge, double mz) {
    constexpr double kGas = 28.0134;
    constexpr double kTemperature = 305.0;
    constexpr double kMasonSchamp = 18509.863216340458;
    const double mass = mz * charge;
    const double reduced = mass * kGas / (mass + kGas);
    return ccs * std::sqrt(reduced * kTemperature) / (charge * kMasonSchamp);
}

double Instrument::peptideCcs(double mass, int charge) {
    constexpr double kByCharge[] = {3.15, 3.04, 3.28, 3.52};
    return kByCharge[std::clamp(charge, 1, 4) - 1] * std::cbrt(mass * mass);
}

}  // namespace simulator
