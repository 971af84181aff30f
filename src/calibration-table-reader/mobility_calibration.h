#pragma once

#include <cstdint>
#include <memory>

#include "calibration/transformation.h"

class CppSQLite3Query;

namespace lumo::io::calibration {
class CalibrationTableReader;
}

namespace lumo::io::kova_calibration {

// The mobility transformator of a row of a mobility calibration table. Raises CorruptDataError on a model that is
// not known.
std::unique_ptr<::lumo::calibration::kova::ITransformator> buildMobilityTrafo(CppSQLite3Query& row);

// The same by the row's id; empty when the id has no row.
std::unique_ptr<::lumo::calibration::kova::ITransformator> readMobilityTrafo(
    std::int64_t calibrationId, const calibration::CalibrationTableReader& tableReader);

}  // namespace lumo::io::kova_calibration
