#pragma once

#include <span>

#include "calibration/i_calibration_transformator.h"

namespace lumo::io {

enum class MassConversion { IndexToMz, MzToIndex };

// What a failing conversion may do to the output: write the values up to the failure, or nothing.
enum class FailingOutput { WrittenInPart, Untouched };

// Converts as if the whole input had been copied before: the arrays may be the same or overlap in any way.
// They have one length. Raises std::runtime_error "No m/z trafo available." when there is no transformator.
void convertMasses(const ::lumo::calibration::ICalibrationTransformatorPtr& mzTrafo,
                   std::span<const double> in, std::span<double> out, MassConversion conversion,
                   FailingOutput failing);

}  // namespace lumo::io
