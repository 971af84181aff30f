#include "calibration/calibration_polynomial_hpc.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <utility>

// Corrections come from a file and may be anything: infinite, not a number, bounds in the wrong order, slopes
// that turn the mass axis round. So every function here ends after a bounded number of steps and raises
// nothing.
namespace lumo::calibration {

CalibrationPolynomialHPC::CalibrationPolynomialHPC(std::vector<double> values, double p0, double p1,
                                                   double p2, double p3)
    : coefficients(std::move(values)),
      lowestArgument(p0),
      highestArgument(p1),
      lowestMass(p2),
      highestMass(p3) {
    // Only zeros are no polynomial: even an infinite argument must not disturb the mass.
    if (std::all_of(coefficients.begin(), coefficients.end(), [](double c) { return c == 0.0; })) {
        coefficients.clear();
    }
}

// Comparisons rather than std::clamp, whose behaviour is undefined when the bounds are in the wrong order or
// not numbers; they come from a file.
double CalibrationPolynomialHPC::Factor(double baseMass) const {
    const double atLeast = baseMass < lowestArgument ? lowestArgument : baseMass;
    const double argument = atLeast > highestArgument ? highestArgument : atLeast;
    double ppm = 0.0;
    for (auto c = coefficients.rbegin(); c != coefficients.rend(); ++c) {
        ppm = ppm * argument + *c;
    }
    return 1.0 + 1e-6 * ppm;
}

double CalibrationPolynomialHPC::Corrected(double baseMass) const {
    return !coefficients.empty() && InRange(baseMass) ? baseMass * Factor(baseMass) : baseMass;
}

double CalibrationPolynomialHPC::Uncorrected(double mass) const {
    if (coefficients.empty() || std::isnan(mass)) {
        return mass;
    }
    if (const auto solution = FixedPoint(mass)) {
        return *solution;
    }
    return InRange(mass) ? SearchRange(mass) : mass;
}

// A correction of parts per million makes each step gain about six digits, so a few steps do. What does not
// settle, or settles outside of the range, is no solution.
std::optional<double> CalibrationPolynomialHPC::FixedPoint(double mass) const {
    constexpr int kMaxSteps = 32;
    constexpr double kTolerance = 1e-14;
    double base = mass;
    for (int step = 0; step < kMaxSteps; ++step) {
        const double previous = std::exchange(base, mass / Factor(base));
        if (std::fabs(base - previous) <= kTolerance * std::fabs(base)) {
            const bool solves = std::fabs(base * Factor(base) - mass) <= kTolerance * std::fabs(mass);
            return solves && InRange(base) ? std::optional<double>(base) : std::nullopt;
        }
    }
    return std::nullopt;
}

// For corrections that are too steep for the fixed point: bisection over the range, each step halving it.
double CalibrationPolynomialHPC::SearchRange(double mass) const {
    constexpr int kMaxSteps = 2200;  // halves any finite interval down to neighbouring doubles
    double low = lowestMass;
    double high = highestMass;
    const double atLow = low * Factor(low) - mass;
    const double atHigh = high * Factor(high) - mass;
    if (!(std::isfinite(atLow) && std::isfinite(atHigh)) || (atLow < 0.0) == (atHigh < 0.0)) {
        return std::fabs(atLow) <= std::fabs(atHigh) ? low : high;
    }
    for (int step = 0; step < kMaxSteps; ++step) {
        const double middle = low + (high - low) / 2.0;
        if (middle == low || middle == high) {
            break;
        }
        const bool sameSideAsLow = (middle * Factor(middle) - mass < 0.0) == (atLow < 0.0);
        (sameSideAsLow ? low : high) = middle;
    }
    return low;
}

std::string CalibrationPolynomialHPC::ToString() const {
    std::ostringstream text;
    text << "[ CalibrationPolynomialHPC: argument = " << lowestArgument << " ... " << highestArgument
         << ", masses = " << lowestMass << " ... " << highestMass << ", coeffs =";
    for (const double c : coefficients) {
        text << ' ' << c;
    }
    text << " ]";
    return text.str();
}

}  // namespace lumo::calibration
