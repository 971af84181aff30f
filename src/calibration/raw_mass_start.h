#pragma once

#include <cmath>

#include "calibration/calibration_constants.h"
#include "calibration/failure_mask.h"

namespace lumo::calibration {

// What both time-of-flight models share: derived constants, and the solution of
//     A2 * s^2 + S(A1) * s + (A0 - t) = 0
// for the signed root s of the mass. The quadratic model's answer is this s; the cubic model starts from it.
//
// C1 of a calibration row is 1e12 / A1. Roots of A1 are taken once, when constants are set, and not per
// element.
template <class Root>
class RMStart {
public:
    void Update(const ICalibrationConstantsFunctionalTOF& constants) {
        a0 = constants.GetA0();
        a1 = constants.GetA1();
        a2 = constants.GetA2();
        signA1 = a1 < 0.0 ? -1.0 : 1.0;
        rootA1 = Root::root(a1);
    }

    // The form that divides by the sum of the roots loses no digits when A2 is small. The discriminant is
    // chosen, not branched on, and a negative one only sets the mask: this is the body of vectorised loops.
    double Solve(double t, FailureMask& failed) const {
        const double distance = a0 - t;
        const double term = 4.0 * a2 * distance;
        const double discriminant = a0 > t ? a1 + term : a1 - term;
        failed += discriminant < 0.0 ? 1.0 : 0.0;
        return distance / ((signA1 * std::sqrt(discriminant) + rootA1) * -0.5);
    }

    // Whether no discriminant can be negative: what is added to a positive A1 has the sign of A2.
    bool AlwaysSolvable() const { return a1 >= 0.0 && a2 >= 0.0; }

protected:
    double a0 = 0.0;
    double a1 = 0.0;
    double a2 = 0.0;
    double signA1 = 1.0;
    double rootA1 = 0.0;
};

// The part of a raw-mass model's interface that only corrected models fill.
struct Uncorrected {
    bool SameCorrection(const Uncorrected&) const { return true; }
    const char* DescribeCorrection() const { return ""; }
};

}  // namespace lumo::calibration
