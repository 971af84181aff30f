#pragma once

namespace lumo::calibration {

// Counts, over the elements of a batch, the conversions that have no real solution. A double like the values
// themselves, so that loops counting use vector instructions; the exception is raised after the loop.
using FailureMask = double;

// Raises the std::logic_error of a conversion whose discriminant is negative.
[[noreturn]] void raiseComplexSolution();

}  // namespace lumo::calibration
