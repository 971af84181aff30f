#include "calibration/monotonic_range.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "diag/assert.h"

// Between which masses a model rises. A polynomial of third degree may turn back; the turning points are
// where its derivative is 0. They are computed without the loss of digits that the textbook formula has when
// the cubic part is small.
namespace lumo::calibration {

MassRange TurningPoints::intervalAround(double mass) const {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    LUMO_ASSERT(!any || low <= high);
    if (!any) {
        return {-infinity, infinity};
    }
    if (mass < low) {
        return {-infinity, low};
    }
    return mass <= high ? MassRange{low, high} : MassRange{high, infinity};
}

TurningPoints turningRootsOfCubic(double a3, double a2, double b) {
    if (a3 == 0.0) {
        const double zero = -b / (2.0 * a2);
        return std::isfinite(zero) ? TurningPoints{zero, zero, true} : TurningPoints::none();
    }
    const double discriminant = a2 * a2 - 3.0 * a3 * b;
    if (!(discriminant > 0.0)) {
        return TurningPoints::none();
    }
    // Adding what has the same sign keeps the digits of the smaller zero.
    const double sum = -(a2 + std::copysign(std::sqrt(discriminant), a2));
    const double first = sum / (3.0 * a3);
    const double second = b / sum;
    if (!std::isfinite(first) || !std::isfinite(second)) {
        return TurningPoints::none();
    }
    return {std::min(first, second), std::max(first, second), true};
}

TurningPoints turningMassesOfQuadratic(double a2, double rootA1) {
    const double root = -rootA1 / (2.0 * a2);
    if (!(root > 0.0) || !std::isfinite(root)) {
        return TurningPoints::none();
    }
    return {-(root * root), root * root, true};
}

}  // namespace lumo::calibration
