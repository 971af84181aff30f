#include "calibration/collisional_cross_section.h"

#include <cmath>

// Cross sections from mobilities and back, by the Mason-Schamp equation for nitrogen at a fixed temperature.
// The header derives the lumped constant.
namespace lumo::calibration::kova {
namespace {

constexpr double kElectronMass = 0.00054857990946;  // u
constexpr double kGasMass = 28.0134;                // u, nitrogen
constexpr double kTemperature = 305.0;              // K
constexpr double kLumpedFactor = 18509.863216340458;

// As a double, since the absolute value of the smallest integer does not fit its type.
double absolute(std::int32_t charge) { return std::fabs(static_cast<double>(charge)); }

double rootOfReducedMassTimesTemperature(std::int32_t charge, double mz) {
    const double mass = charge == 0 ? mz : mz * absolute(charge) + charge * kElectronMass;
    const double reducedMass = mass * kGasMass / (mass + kGasMass);
    return std::sqrt(reducedMass * kTemperature);
}

}  // namespace

// The order of the operations in these two fixes the rounding of the results.

double oneOverK0ToCcsForMz(double oneOverK0, std::int32_t charge, double mz) {
    return (absolute(charge) * kLumpedFactor) /
           ((1.0 / oneOverK0) * rootOfReducedMassTimesTemperature(charge, mz));
}

double ccsToOneOverK0ForMz(double ccs, std::int32_t charge, double mz) {
    return 1.0 / ((absolute(charge) * kLumpedFactor) / (ccs * rootOfReducedMassTimesTemperature(charge, mz)));
}

}  // namespace lumo::calibration::kova
