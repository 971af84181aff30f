#pragma once

#include <cmath>

namespace lumo::calibration {

// Square root that passes signs through, so that negative masses and times convert as well. Both functions
// are free of branches so that loops over them use vector instructions. They are inverses of each other up to
// rounding.
struct SquareRoot {
    // sqrt(x) for x >= 0, -sqrt(-x) for x < 0. Equal to that definition for every double, -0 and NaN
    // included.
    static double root(double x) { return std::copysign(std::sqrt(std::fabs(x)), x); }

    // s * s for s >= 0 (also for -0), -(s * s) otherwise.
    static double square(double s) {
        const double squared = s * s;
        return s >= 0.0 ? squared : -squared;
    }
};

}  // namespace lumo::calibration
