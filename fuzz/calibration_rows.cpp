// Rows of calibration tables with any values of any type in any number of columns.
#include "calibration-table-reader/calibration_builders.h"
#include "calibration/temperature_compensation.h"
#include "common/require.h"
#include "common/sql_values.h"
#include "fixtures/temp_directory.h"
#include "sqlite/cppsqlite3.h"

namespace {

namespace rows = lumo::io::calibration;
namespace models = lumo::calibration;

// Values that make up a row that is read, for a start.
constexpr double kPlausible[] = {0.0,   1.0,  300.0, 160000.0, 0.005,  900.0,
                                 190.0, 70.0, 33.0,  0.01737,  115.45, 60.0};

std::string plausible(std::uint8_t kind) { return fuzz::sqlNumber(kPlausible[kind % std::size(kPlausible)]); }

CppSQLite3DB& database() {
    static const fixtures::MemoryDirectory directory;
    static CppSQLite3DB db;
    static const bool isOpen = [] {
        directory.put("empty.sqlite", {});
        db.open(directory.path() / "empty.sqlite");
        return true;
    }();
    fuzz::require(isOpen, "an empty database can be opened");
    return db;
}

void convertMasses(models::ICalibrationTransformatorPtr transformator, const models::Temperatures& measured) {
    models::addTemperatureCompensationInfo(*transformator, {{25.0, 25.0}, measured, 3});
    fuzz::succeeds([&] { models::performTemperatureCompensation(transformator, measured); });
    std::vector<double> values = {0.0, 1.0, 99999.5, -3.0, 1e300, std::nan(""), HUGE_VAL};
    for (const double value : values) {
        fuzz::succeeds([&] { transformator->DIndexToMass(value); });
        fuzz::succeeds([&] { transformator->MassToIndex(value); });
    }
    fuzz::succeeds([&] { transformator->DIndexToMass(values); });
    transformator->ToString();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::ByteSource source(data, size);
    const models::Temperatures measured{source.take<double>(), source.take<double>()};
    const double delay = source.take<double>();
    const double timebase = source.take<double>();
    CppSQLite3Query row =
        database().execQuery("SELECT " + fuzz::takeSqlValues(source, 1 + source.below(24), plausible));
    fuzz::succeeds([&] { convertMasses(rows::getMzTrafoTof(row, 0, delay, timebase), measured); });
    fuzz::succeeds([&] { convertMasses(rows::getMzTrafoTof1Hpc(row, 0, delay, timebase), measured); });
    fuzz::succeeds([&] {
        const auto mobility = rows::getMobTrafoLvrT4T3(row, 0);
        for (const double scan : {0.0, 450.5, -1e300, HUGE_VAL}) {
            mobility->oneOverK0ToScanNumber(mobility->scanNumberToOneOverK0(scan));
        }
        const auto [first, last] = mobility->getSignificantScanNumberRange();
        fuzz::require(first <= last, "a range of scans");
        mobility->toString();
    });
    fuzz::succeeds([&] { rows::supportedCalibrationModelsFromInt(row.getIntField(1)); });
    return 0;
}
