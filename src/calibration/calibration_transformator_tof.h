#pragma once

#include "calibration/i_calibration_transformator.h"

namespace lumo::calibration {

// The mass models. Both are put together at compile time from a raw-mass model and a raw-index model
// (transformator.h). The files that do so are compiled with flags of their own, by which their loops become
// vector code (CMakeLists.txt).

// Values of ICalibrationTransformator::GetStrategyID.
enum StrategyId : int { kTofQuadratic = 1, kTof2Cubic = 2, kTofQuadraticHpc = 3 };

// Constants of another model than the transformator's fail with std::invalid_argument.
ICalibrationTransformatorPtr createCalibrationTransformatorTOFQuadratic(
    const ICalibrationConstantsPhysicalPtr& physical, const ICalibrationConstantsFunctionalPtr& functional);
ICalibrationTransformatorPtr createCalibrationTransformatorTOF2Cubic(
    const ICalibrationConstantsPhysicalPtr& physical, const ICalibrationConstantsFunctionalPtr& functional);

}  // namespace lumo::calibration
