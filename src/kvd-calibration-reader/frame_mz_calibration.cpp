#include "kvd-calibration-reader/frame_mz_calibration.h"

#include <stdexcept>
#include <string>

#include "calibration-table-reader/calibration_builders.h"
#include "diag/errors.h"
#include "diag/throw.h"

// Rows of frames and of mass calibrations. Model 1 is quadratic or cubic, depending on its coefficients;
// model 2 adds a polynomial correction. Other numbers are refused: a calibration that is misread gives
// plausible masses.
namespace lumo::io::kova_calibration {

namespace models = ::lumo::calibration;

namespace {

models::Polarity polarityOf(const std::string& text) {
    if (text != "+" && text != "-") {
        LUMO_THROW(std::runtime_error("Polarity has wrong format in KVD."));
    }
    return text == "-" ? models::Polarity::Negative : models::Polarity::Positive;
}

// Fields of a row of "MzCalibration" as it is queried.
enum Field : int { kModelType = 1, kTimebase, kDelay, kT1, kT2, kDC1, kDC2, kFirstCoefficient };

// Each call makes a new transformator, so the caller may change it.
models::ICalibrationTransformatorPtr buildTransformator(CppSQLite3Query& row) {
    const double timebase = row.getFloatField(kTimebase);
    const double delay = row.getFloatField(kDelay);
    const int model = row.getIntField(kModelType);
    switch (model) {
        case 1:
            return calibration::getMzTrafoTof(row, kFirstCoefficient, delay, timebase);
        case 2:
            return calibration::getMzTrafoTof1Hpc(row, kFirstCoefficient, delay, timebase);
        default:
            LUMO_THROW(
                calibration::CorruptDataError("Unknown m/z calibration model " + std::to_string(model)));
    }
}

}  // namespace

FrameMzCalibration readFrameMzCalibration(std::int64_t frameId, const CppSQLite3Query& row,
                                          const logging::Logger& logger) {
    if (row.eof() || row.fieldIsNull(0)) {
        const std::string text =
            "Frame " + std::to_string(frameId) + " does not exists or is missing MzCalibration/Polarity";
        LUMO_LOG(logger, Error, text);
        LUMO_THROW(std::runtime_error(text));
    }
    return {row.getInt64Field(0),
            polarityOf(row.getStringField(1)),
            {row.getFloatField(2), row.getFloatField(3)}};
}

MzCalibration readMzCalibration(std::int64_t calibrationId,
                                const calibration::CalibrationTableReader& tableReader) {
    CppSQLite3Query row;
    if (!tableReader.getCalibratorCoefficients(calibrationId, row)) {
        return {};
    }
    MzCalibration result;
    result.transformator = buildTransformator(row);
    result.temperatureInfo.reference = {row.getFloatField(kT1), row.getFloatField(kT2)};
    result.temperatureInfo.coefficients = {row.getFloatField(kDC1), row.getFloatField(kDC2)};
    models::addTemperatureCompensationInfo(*result.transformator, result.temperatureInfo);
    return result;
}

}  // namespace lumo::io::kova_calibration
