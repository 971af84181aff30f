#pragma once

#include <cstdint>

namespace lumo::calibration {

// Collects, over the elements of a batch, whether any conversion has no real solution: 0 means none. As wide
// as a double, so that loops collecting it use vector instructions; the exception is raised after the loop.
using FailureMask = std::int64_t;

// Raises the std::logic_error of a conversion whose discriminant is negative.
[[noreturn]] void raiseComplexSolution();

}  // namespace lumo::calibration
