#pragma once

#include <utility>

namespace lumo::calibration {

using MassRange = std::pair<double, double>;

// Masses at which a model's raw time turns back: at most two, in ascending order. Without any, the whole axis
// is monotonic.
//
// Between two turning points a raw time belongs to one mass only. Whoever searches for masses, or offers a
// range of them, must stay inside of such an interval; otherwise a conversion and its inverse do not come
// back to where they began.
struct TurningPoints {
    double low;
    double high;
    bool any;

    static TurningPoints none() { return {0.0, 0.0, false}; }

    // The interval between neighbouring turning points (or infinity) that holds `mass`.
    MassRange intervalAround(double mass) const;
};

// For t(s) = a3 * s^3 + a2 * s^2 + b * s + const over the signed root s: the two zeros of its derivative,
// ascending. One zero only (a3 = 0) is reported as [zero, zero].
TurningPoints turningRootsOfCubic(double a3, double a2, double b);

// For t = a2 * m + S(a1 * m) + const, symmetric about mass 0.
TurningPoints turningMassesOfQuadratic(double a2, double rootA1);

}  // namespace lumo::calibration
