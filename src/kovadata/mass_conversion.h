#pragma once

#include <span>

#include "calibration/i_calibration_transformator.h"

namespace lumo::io {

// One of the array conversions of a mass transformator.
using MzConversion = void (::lumo::calibration::ICalibrationTransformator::*)(std::span<const double>,
                                                                              std::span<double>) const;

// Raises std::runtime_error "No m/z trafo available." when there is no transformator.
void convertMasses(const ::lumo::calibration::ICalibrationTransformatorPtr& mzTrafo,
                   std::span<const double> in, std::span<double> out, MzConversion method);

}  // namespace lumo::io
