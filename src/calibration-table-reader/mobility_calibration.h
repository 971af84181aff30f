#pragma once

#include <cstdint>
#include <memory>

#include "calibration/transformation.h"

namespace lumo::io::calibration {
class CalibrationTableReader;
}

namespace lumo::io::kova_calibration {

// The mobility transformator of a row of a mobility calibration table; empty when the id has no row. Raises
// CorruptDataError on a model that is not known.
std::unique_ptr<::lumo::calibration::kova::ILinearVoltageRampBasedTransformator> readMobilityTrafo(
    std::int64_t calibrationId, const calibration::CalibrationTableReader& tableReader);

}  // namespace lumo::io::kova_calibration
