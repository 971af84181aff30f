#pragma once

#include <memory>

#include "calibration/calibration_polynomial_hpc.h"
#include "calibration/i_calibration_transformator.h"

namespace lumo::calibration {

// The quadratic model with a correction polynomial on top. `base` gives the constants and stays as it is;
// constants of another model than the quadratic one fail with std::invalid_argument. Mass ranges are those of
// the base model, since the correction moves masses by parts per million only.
ICalibrationTransformatorPtr createCalibrationTransformatorHPC(
    const ICalibrationTransformatorPtr& base, std::shared_ptr<const CalibrationPolynomialHPC> polynomial);

}  // namespace lumo::calibration
