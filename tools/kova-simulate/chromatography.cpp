#include "kova-simulate/chromatography.h"

#include <algorithm>
#include <cmath>

// How many ions there are, and how wide they elute, from three numbers: length of the run, of a cycle, and
// peaks in a frame.
namespace simulator {

namespace {

constexpr double kUsualWidth = 4.0;       // s
constexpr double kTail = 1.6;             // width of the fall over that of the rise
constexpr double kReach = 3.7;            // widths; a thousandth of the apex is left there
constexpr double kPeaksPerIon = 40.0;     // of a frame, for each ion that elutes
constexpr double kFewestEluting = 150.0;  // at any time, so that each MS1 frame has precursors
constexpr double kMostIons = 250'000.0;  // bounds the memory, some 100 MB; beyond, peaks become wider instead

}  // namespace

Chromatography planChromatography(double runTime, double cycleTime, std::uint32_t peaksPerFrame) {
    Chromatography plan{};
    plan.runTime = runTime;
    plan.peakWidth = std::max(2.0 * cycleTime, std::min(kUsualWidth, runTime / 60.0));
    const double area =
        std::sqrt(2.0 * 3.14159265358979) * (1.0 + kTail) / 2.0;  // of a peak of width and height 1
    const double eluting = std::max(kFewestEluting, peaksPerFrame / kPeaksPerIon);
    plan.peakWidth = std::max(plan.peakWidth, eluting * runTime / (area * kMostIons));
    plan.margin = 3.0 * plan.peakWidth;
    const double ions = eluting * (runTime + 2.0 * plan.margin) / (area * plan.peakWidth);
    plan.ions = static_cast<std::size_t>(std::min(ions, kMostIons));
    return plan;
}

double elutionShare(double secondsAfterApex, double peakWidth) {
    const double x = secondsAfterApex / (secondsAfterApex < 0.0 ? peakWidth : kTail * peakWidth);
    return std::abs(x) > kReach ? 0.0 : std::exp(-0.5 * x * x);
}

ElutionReach elutionReach(double peakWidth) { return {kReach * peakWidth, kReach * kTail * peakWidth}; }

}  // namespace simulator
