#pragma once

#include <cstdint>

#include "calibration-table-reader/calibration_table_reader.h"
#include "calibration/i_calibration_transformator.h"
#include "calibration/polarity.h"
#include "calibration/temperature_compensation.h"
#include "logging/logger.h"
#include "sqlite/cppsqlite3.h"

namespace lumo::io::kova_calibration {

// What a row of "Frames" says about mass calibration.
struct FrameMzCalibration {
    std::int64_t calibrationId = 0;
    ::lumo::calibration::Polarity polarity = {};
    ::lumo::calibration::Temperatures measured;
};

// Reads the current row of kFrameMzCalibrationQuery. A frame without row or calibration id is logged and
// raises std::runtime_error, and so does a polarity that is neither "+" nor "-".
FrameMzCalibration readFrameMzCalibration(std::int64_t frameId, const CppSQLite3Query& row,
                                          const logging::Logger& logger);

// The query for that row, whose one parameter is the frame's id.
inline constexpr const char* kFrameMzCalibrationQuery =
    "SELECT MzCalibration, Polarity, T1, T2 FROM Frames WHERE Id=?";

// Columns of "MzCalibration" between "ModelType" and the coefficients.
inline constexpr std::size_t kNumExtraMzColumns = 6;
inline constexpr const char* kExtraMzColumns =
    "c.DigitizerTimebase, c.DigitizerDelay, c.T1, c.T2, c.dC1, c.dC2, ";

// A transformator with its temperature coefficients, not compensated and the caller's own. Empty when the id
// has no row.
struct MzCalibration {
    ::lumo::calibration::ICalibrationTransformatorPtr transformator;
    ::lumo::calibration::TemperatureCompensationInfo temperatureInfo;
};
MzCalibration readMzCalibration(std::int64_t calibrationId,
                                const calibration::CalibrationTableReader& tableReader);

}  // namespace lumo::io::kova_calibration
