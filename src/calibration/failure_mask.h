#pragma once

namespace lumo::calibration {

// Counts, over the elements of a batch, the conversions that have no real solution. A double like the values
// themselves, so that the loop uses vector instructions; the exception is raised after the loop. Adding
// counts is exact as long as an array has less than 2^53 elements.
using FailureMask = double;

// Raises the std::logic_error of a conversion whose discriminant is negative.
[[noreturn]] void raiseComplexSolution();

}  // namespace lumo::calibration
