#include "calibration-table-reader/calibration_builders.h"

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "calibration/calibration_transformator_hpc.h"
#include "calibration/calibration_transformator_tof.h"
#include "diag/errors.h"
#include "diag/throw.h"
#include "sqlite/cppsqlite3.h"

// Rows of coefficients become models. How many columns a table has is known only at run time and differs from
// file to file. Each model states how many it needs and refuses a table with fewer: for a column that is not
// there SQLite would give NULL, which reads as 0, and a calibration with a 0 in the wrong place gives
// plausible masses.
namespace lumo::io::calibration {

namespace models = ::lumo::calibration;
using models::ICalibrationTransformatorPtr;

namespace {

[[noreturn]] void raiseTooFewCoefficients(std::int64_t needed, int present) {
    LUMO_THROW(CorruptDataError("Calibration model needs " + std::to_string(needed) +
                                " coefficient columns, the table has " + std::to_string(present) + "."));
}

int countCoefficientFields(const CppSQLite3Query& q, int firstColumn) { return q.numFields() - firstColumn; }

void requireCoefficients(const CppSQLite3Query& q, int firstColumn, std::int64_t needed) {
    const int present = countCoefficientFields(q, firstColumn);
    if (present < needed) {
        raiseTooFewCoefficients(needed, present);
    }
}

ICalibrationTransformatorPtr makeQuadratic(const CppSQLite3Query& q, int firstColumn, double digitizerDelay,
                                           double digitizerTimebase) {
    return models::createCalibrationTransformatorTOFQuadratic(
        models::createCalibrationConstantsPhysicalTOF(digitizerDelay, digitizerTimebase),
        models::createCalibrationConstantsFunctionalTOF1(q.getFloatField(firstColumn),
                                                         q.getFloatField(firstColumn + 1),
                                                         q.getFloatField(firstColumn + 2)));
}

// A count, then as many numbers; a count below 1 stands for none.
std::vector<double> readCounted(const CppSQLite3Query& q, int countColumn) {
    const std::int64_t count = q.getInt64Field(countColumn);
    if (count <= 0) {
        return {};
    }
    requireCoefficients(q, countColumn + 1, count);
    std::vector<double> values(static_cast<std::size_t>(count));
    int column = countColumn;
    for (double& value : values) {
        value = q.getFloatField(++column);
    }
    return values;
}

constexpr int kRampCoefficients = 10;

// Numbers of scans and degrees are 16 bits wide. Anything else is refused, with a text that says on which
// side of the range it is.
int readUnsigned16(const CppSQLite3Query& q, int firstColumn, int offset) {
    if (const int present = countCoefficientFields(q, firstColumn); present <= offset) {
        raiseTooFewCoefficients(kRampCoefficients, present);
    }
    const std::int64_t value = q.getInt64Field(firstColumn + offset);
    if (value < 0) {
        LUMO_THROW(std::range_error("bad numeric conversion: negative overflow"));
    }
    if (value > std::numeric_limits<std::uint16_t>::max()) {
        LUMO_THROW(std::range_error("bad numeric conversion: positive overflow"));
    }
    return static_cast<int>(value);
}

}  // namespace

// The cubic model is the quadratic one with two more coefficients, and older tables lack their columns. Both
// 0, or not there, means the quadratic model.
ICalibrationTransformatorPtr getMzTrafoTof(CppSQLite3Query& q, int firstColumn, double digitizerDelay,
                                           double digitizerTimebase) {
    requireCoefficients(q, firstColumn, 3);
    const double c3 = q.getFloatField(firstColumn + 3);
    const double c4 = q.getFloatField(firstColumn + 4);
    if (c3 == 0.0 && c4 == 0.0) {
        return makeQuadratic(q, firstColumn, digitizerDelay, digitizerTimebase);
    }
    return models::createCalibrationTransformatorTOF2Cubic(
        models::createCalibrationConstantsPhysicalTOF(digitizerDelay, digitizerTimebase),
        models::createCalibrationConstantsFunctionalTOF2(q.getFloatField(firstColumn),
                                                         q.getFloatField(firstColumn + 1),
                                                         q.getFloatField(firstColumn + 2), c3, c4));
}

ICalibrationTransformatorPtr getMzTrafoTof1Hpc(CppSQLite3Query& q, int firstColumn, double digitizerDelay,
                                               double digitizerTimebase) {
    requireCoefficients(q, firstColumn, 8);
    const auto quadratic = makeQuadratic(q, firstColumn, digitizerDelay, digitizerTimebase);
    const auto polynomial = std::make_shared<const models::CalibrationPolynomialHPC>(
        readCounted(q, firstColumn + 7), q.getFloatField(firstColumn + 3), q.getFloatField(firstColumn + 4),
        q.getFloatField(firstColumn + 5), q.getFloatField(firstColumn + 6));
    return models::createCalibrationTransformatorHPC(quadratic, polynomial);
}

std::unique_ptr<models::kova::ILinearVoltageRampBasedTransformator> getMobTrafoLvrT4T3(CppSQLite3Query& q,
                                                                                       int firstColumn) {
    // Each coefficient is judged when its turn comes: a bad one counts before one after it that is missing.
    const int ndelay = readUnsigned16(q, firstColumn, 0);
    const int ncycles = readUnsigned16(q, firstColumn, 1);
    const double vstart = q.getFloatField(firstColumn + 2);
    const double vend = q.getFloatField(firstColumn + 3);
    const double transitTime = q.getFloatField(firstColumn + 4);
    if (readUnsigned16(q, firstColumn, 5) != 1) {
        LUMO_THROW(CorruptDataError("LVR: unsupported degree != 1."));
    }
    requireCoefficients(q, firstColumn, kRampCoefficients);
    const models::kova::LinearVoltageRamp ramp(ndelay, ncycles, vstart, vend);
    return models::kova::makeLvrTransformatorLinear(
        ramp, transitTime, q.getFloatField(firstColumn + 6), q.getFloatField(firstColumn + 7),
        q.getFloatField(firstColumn + 8), q.getFloatField(firstColumn + 9));
}

SupportedCalibrationModel supportedCalibrationModelsFromInt(int model) {
    if (model < static_cast<int>(SupportedCalibrationModel::Tof) ||
        model > static_cast<int>(SupportedCalibrationModel::Ftms1356)) {
        LUMO_THROW(std::invalid_argument("Unknown m / z calibration model " + std::to_string(model)));
    }
    return static_cast<SupportedCalibrationModel>(model);
}

}  // namespace lumo::io::calibration
