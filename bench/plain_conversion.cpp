#include "plain_conversion.h"

#include <cmath>

namespace bench {

namespace {

double root(double x) { return std::copysign(std::sqrt(std::fabs(x)), x); }
double square(double s) { return s >= 0.0 ? s * s : -(s * s); }

struct Model {
    explicit Model(const TofConstants& c)
        : delay(c.delay),
          timebase(c.timebase),
          a0(c.c0),
          a1(1e12 / c.c1),
          a2(c.c2),
          a3(c.c3),
          dm(c.c4),
          rootA1(root(a1)) {}

    double start(double t) const {
        const double term = 4.0 * a2 * (a0 - t);
        return (a0 - t) / ((std::sqrt(a0 > t ? a1 + term : a1 - term) + rootA1) * -0.5);
    }
    double polynomial(double s) const { return ((a3 * s + a2) * s + rootA1) * s + a0; }

    double quadraticToMz(double i) const { return square(start(i * timebase + delay)); }
    double quadraticToIndex(double m) const { return (a0 + root(a1 * m) + a2 * m - delay) / timebase; }
    double cubicToIndex(double m) const { return (polynomial(root(m + dm)) - delay) / timebase; }
    double cubicToMz(double i) const {
        const double t = i * timebase + delay;
        const double s0 = start(t);
        const double time = polynomial(s0);
        const double s1 = s0 * t / (time <= 20.0 ? 20.0 : time);
        const double derivative = (3.0 * a3 * s1 + 2.0 * a2) * s1 + rootA1;
        const double s2 = s1 - (polynomial(s1) - t) / derivative;
        return square(s0 <= 0.0 ? s0 : s2 - (polynomial(s2) - t) / derivative) - dm;
    }

    double delay, timebase, a0, a1, a2, a3, dm, rootA1;
};

template <class Function>
void loop(const double* in, double* out, std::size_t count, int threads, Function function) {
    if (threads == 1) {
#pragma omp simd
        for (std::size_t i = 0; i < count; ++i) {
            out[i] = function(in[i]);
        }
        return;
    }
#pragma omp parallel for simd num_threads(threads) firstprivate(function, in, out)
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = function(in[i]);
    }
}

}  // namespace

void convertPlainly(const TofConstants& constants, bool toMz, const double* in, double* out,
                    std::size_t count, int threads) {
    const Model model(constants);
    const bool cubic = constants.c3 != 0.0 || constants.c4 != 0.0;
    if (toMz && cubic) {
        loop(in, out, count, threads, [model](double x) { return model.cubicToMz(x); });
    } else if (toMz) {
        loop(in, out, count, threads, [model](double x) { return model.quadraticToMz(x); });
    } else if (cubic) {
        loop(in, out, count, threads, [model](double x) { return model.cubicToIndex(x); });
    } else {
        loop(in, out, count, threads, [model](double x) { return model.quadraticToIndex(x); });
    }
}

}  // namespace bench
