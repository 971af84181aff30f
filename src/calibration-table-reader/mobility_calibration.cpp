#include "calibration-table-reader/mobility_calibration.h"

#include <string>

#include "calibration-table-reader/calibration_builders.h"
#include "calibration-table-reader/calibration_table_reader.h"
#include "diag/errors.h"
#include "diag/throw.h"

namespace lumo::io::kova_calibration {

// There is one model of mobility, number 2. Both the analysis database and the calibration file have it in a
// table of the same form.
namespace models = ::lumo::calibration;

std::unique_ptr<models::kova::ILinearVoltageRampBasedTransformator> readMobilityTrafo(
    std::int64_t calibrationId, const calibration::CalibrationTableReader& tableReader) {
    CppSQLite3Query row;
    if (!tableReader.getCalibratorCoefficients(calibrationId, row)) {
        return nullptr;
    }
    if (const int model = row.getIntField(1); model != 2) {
        LUMO_THROW(calibration::CorruptDataError("Unknown KOVA calibration model " + std::to_string(model)));
    }
    return calibration::getMobTrafoLvrT4T3(row, 2);
}

}  // namespace lumo::io::kova_calibration
