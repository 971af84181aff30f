#pragma once

#include <cmath>
#include <optional>

// The time-of-flight models in their plainest form: one value at a time, every operation in its written
// order.
namespace reference {

struct TofConstants {
    double delay = 0.0;
    double timebase = 1.0;
    double c0 = 0.0;
    double c1 = 1.0;
    double c2 = 0.0;
    double c3 = 0.0;
    double c4 = 0.0;
};

inline double signedRoot(double x) { return x >= 0 ? std::sqrt(x) : -std::sqrt(-x); }
inline double signedSquare(double s) { return s >= 0 ? s * s : -(s * s); }

class PlainTof {
public:
    PlainTof(const TofConstants& constants, bool isCubic)
        : c(constants), cubic(isCubic), a1(1e12 / constants.c1) {}

    double massToIndex(double mass) const {
        double t = 0.0;
        if (cubic) {
            t = polynomial(signedRoot(mass + c.c4));
        } else {
            t = c.c0 + signedRoot(a1 * mass) + c.c2 * mass;
        }
        return (t - c.delay) / c.timebase - 0.0;
    }

    // Empty when there is no real solution.
    std::optional<double> indexToMass(double index) const {
        const double t = (index + 0.0) * c.timebase + c.delay;
        const double d = c.c0 > t ? a1 + 4.0 * c.c2 * (c.c0 - t) : a1 - 4.0 * c.c2 * (c.c0 - t);
        if (d < 0) {
            return std::nullopt;
        }
        const double sign = a1 < 0 ? -1.0 : 1.0;
        double s = (c.c0 - t) / ((sign * std::sqrt(d) + signedRoot(a1)) * -0.5);
        if (!cubic) {
            return signedSquare(s);
        }
        if (!(s <= 0 || c.c3 == 0)) {
            double p = polynomial(s);
            if (p <= 20.0) {
                p = 20.0;
            }
            const double s1 = s * t / p;
            const double derivative = (3.0 * c.c3 * s1 + 2.0 * c.c2) * s1 + signedRoot(a1);
            const double s2 = s1 - (polynomial(s1) - t) / derivative;
            s = s2 - (polynomial(s2) - t) / derivative;
        }
        return signedSquare(s) - c.c4;
    }

private:
    double polynomial(double s) const { return ((c.c3 * s + c.c2) * s + signedRoot(a1)) * s + c.c0; }

    TofConstants c;
    bool cubic;
    double a1;
};

}  // namespace reference
