#pragma once

#include <memory>

#include "calibration/i_calibration_transformator.h"
#include "calibration/transformation.h"

class CppSQLite3Query;

namespace lumo::io::calibration {

// Builders of transformators from the current row of a query; `firstColumn` is the field of the first
// coefficient. NULL reads as 0. A row with fewer fields than the model reads fails with CorruptDataError.

// C0, C1, C2, C3, C4: the quadratic model when C3 and C4 are 0 or not there, else the cubic one.
::lumo::calibration::ICalibrationTransformatorPtr getMzTrafoTof(CppSQLite3Query& q, int firstColumn,
                                                                double digitizerDelay,
                                                                double digitizerTimebase);

// C0, C1, C2, four parameters, the number n of correction coefficients, n coefficients: the quadratic model
// with a correction polynomial.
::lumo::calibration::ICalibrationTransformatorPtr getMzTrafoTof1Hpc(CppSQLite3Query& q, int firstColumn,
                                                                    double digitizerDelay,
                                                                    double digitizerTimebase);

// ndelay, ncycles, vstart, vend, transit time, degree (1), c0, c1, vmin, vmax: a linear voltage ramp.
std::unique_ptr<::lumo::calibration::kova::ILinearVoltageRampBasedTransformator> getMobTrafoLvrT4T3(
    CppSQLite3Query& q, int firstColumn);

// Numbers of the mass calibration models in the tables. Only the first two are read; the others are known by
// name, so that the text of the failure can say which one it is.
enum class SupportedCalibrationModel : int { Tof = 1, TofHpc = 2, Quillon = 3, Ftms04 = 4, Ftms1356 = 5 };

// Any other number fails with std::invalid_argument.
SupportedCalibrationModel supportedCalibrationModelsFromInt(int model);

}  // namespace lumo::io::calibration
