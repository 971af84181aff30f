#pragma once

#include <stdexcept>

#include "diag/assert.h"
#include "diag/throw.h"

namespace lumo::math {

// A calibration is measured in an interval, and extrapolating its formula may run into a pole or turn back.
// Straight lines in its place keep the function monotonic and invertible everywhere. The value at an end is
// that of the line.

// One end of the interval in which the inner function is used: where it is, and the function's value and
// slope there.
struct ContinuationEnd {
    double position;
    double value;
    double slope;
};

// A strictly monotonic, invertible function inside [low.position, high.position], continued by straight lines
// outside. `Inner` offers `double value(double) const` and `double inverse(double) const`; it is referred to,
// not copied, and must outlive this object. Immutable; conversions may run in any number of threads.
template <class Inner>
class LinearlyContinuedFunction {
public:
    LinearlyContinuedFunction(const Inner& function, const ContinuationEnd& lowEnd,
                              const ContinuationEnd& highEnd)
        : inner(function), low(lowEnd), high(highEnd) {
        LUMO_ASSERT(!(low.position > high.position));
        if (low.slope * high.slope <= 0.0) {
            LUMO_THROW(std::invalid_argument("slopes must be non-zero and have same sign."));
        }
    }

    double value(double x) const {
        if (x <= low.position) {
            return (x - low.position) * low.slope + low.value;
        }
        if (x >= high.position) {
            return (x - high.position) * high.slope + high.value;
        }
        return inner.value(x);
    }

    // The low end is asked first: it also answers when the two continuations overlap.
    double inverse(double y) const {
        if ((low.slope >= 0.0 && y <= low.value) || (low.slope <= 0.0 && y >= low.value)) {
            return (y - low.value) / low.slope + low.position;
        }
        if ((high.slope >= 0.0 && y >= high.value) || (high.slope <= 0.0 && y <= high.value)) {
            return (y - high.value) / high.slope + high.position;
        }
        return inner.inverse(y);
    }

private:
    const Inner& inner;
    ContinuationEnd low;
    ContinuationEnd high;
};

}  // namespace lumo::math
