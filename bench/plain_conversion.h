#pragma once

#include <cstddef>

namespace bench {

struct TofConstants {
    double delay, timebase, c0, c1, c2, c3, c4;
};

// The conversion formulas as bare loops over arrays, on `threads` OpenMP threads; the quadratic model when c3
// and c4 are 0.
void convertPlainly(const TofConstants& constants, bool toMz, const double* in, double* out,
                    std::size_t count, int threads);

}  // namespace bench
