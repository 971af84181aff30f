#pragma once

#include "calibration/calibration_constants.h"
#include "calibration/calibration_transformator_tof.h"
#include "reference/plain_tof_model.h"

namespace tests {

inline constexpr reference::TofConstants kTypical = {
    .delay = 24000.0, .timebase = 0.2, .c0 = 300.0, .c1 = 160000.0, .c2 = 0.005, .c3 = -1e-6, .c4 = 0.01};

inline lumo::calibration::ICalibrationTransformatorPtr makeQuadratic(const reference::TofConstants& c) {
    using namespace lumo::calibration;
    return createCalibrationTransformatorTOFQuadratic(
        createCalibrationConstantsPhysicalTOF(c.delay, c.timebase),
        createCalibrationConstantsFunctionalTOF1(c.c0, c.c1, c.c2));
}

inline lumo::calibration::ICalibrationTransformatorPtr makeCubic(const reference::TofConstants& c) {
    using namespace lumo::calibration;
    return createCalibrationTransformatorTOF2Cubic(
        createCalibrationConstantsPhysicalTOF(c.delay, c.timebase),
        createCalibrationConstantsFunctionalTOF2(c.c0, c.c1, c.c2, c.c3, c.c4));
}

}  // namespace tests
