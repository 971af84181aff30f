// Any calibration constants and any numbers to convert: the models against their plain forms.
#include <bit>
#include <cmath>

#include "calibration/calibration_transformator_tof.h"
#include "calibration/collisional_cross_section.h"
#include "calibration/linear_voltage_ramp.h"
#include "calibration/transformation.h"
#include "common/byte_source.h"
#include "common/require.h"
#include "reference/plain_tof_model.h"

namespace {

namespace models = lumo::calibration;

bool same(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) ||
           std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

models::ICalibrationTransformatorPtr make(const reference::TofConstants& c, bool cubic) {
    const auto physical = models::createCalibrationConstantsPhysicalTOF(c.delay, c.timebase);
    return cubic
               ? models::createCalibrationTransformatorTOF2Cubic(
                     physical, models::createCalibrationConstantsFunctionalTOF2(c.c0, c.c1, c.c2, c.c3, c.c4))
               : models::createCalibrationTransformatorTOFQuadratic(
                     physical, models::createCalibrationConstantsFunctionalTOF1(c.c0, c.c1, c.c2));
}

void checkMasses(const reference::TofConstants& constants, bool cubic, const std::vector<double>& values) {
    const auto fast = make(constants, cubic);
    const reference::PlainTof plain(constants, cubic);
    bool anyFailed = false;
    std::vector<double> expected;
    for (const double value : values) {
        fuzz::require(same(fast->MassToDIndex(value), plain.massToIndex(value)),
                      "the index of the plain form");
        const std::optional<double> mass = plain.indexToMass(value);
        double single = 0.0;
        const bool converts = fuzz::succeeds([&] { single = fast->DIndexToMass(value); });
        fuzz::require(converts == mass.has_value() && (!converts || same(single, *mass)),
                      "the mass of the plain form");
        anyFailed = anyFailed || !converts;
        expected.push_back(mass.value_or(0.0));
    }
    std::vector<double> masses;
    const bool allConvert = fuzz::succeeds([&] { fast->DIndexToMass(values, masses); });
    fuzz::require(allConvert == !anyFailed, "an array fails with its elements");
    for (std::size_t i = 0; i < values.size() && allConvert; ++i) {
        fuzz::require(same(masses[i], expected[i]), "an array converts as its elements");
    }
    fast->monotonicMassRange(values.front());
}

void checkMobility(fuzz::ByteSource& source, const std::vector<double>& values) {
    using namespace models::kova;
    fuzz::succeeds([&] {
        const int delay = source.take<std::uint16_t>();
        const int cycles = source.take<std::uint16_t>();
        const LinearVoltageRamp ramp(delay, cycles, source.take<double>(), source.take<double>());
        const double transit = source.take<double>();
        const double c0 = source.take<double>();
        const double c1 = source.take<double>();
        const double low = source.take<double>();
        const auto mobility = makeLvrTransformatorLinear(ramp, transit, c0, c1, low, source.take<double>());
        std::vector<double> out(values.size());
        dynamic_cast<const IArrayTransformator&>(*mobility).scanNumbersToOneOverK0s(values, out);
        for (std::size_t i = 0; i < values.size(); ++i) {
            fuzz::require(same(out[i], mobility->scanNumberToOneOverK0(values[i])), "array as single values");
            mobility->oneOverK0ToScanNumber(values[i]);
            mobility->voltageToScanNumber(values[i]);
            mobility->scanNumberToVoltage(values[i]);
        }
        mobility->getSignificantScanNumberRange();
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::ByteSource source(data, size);
    const bool cubic = source.take<std::uint8_t>() % 2 == 1;
    const double delay = source.take<double>();
    const double timebase = source.take<double>();
    const double c0 = source.take<double>();
    const double c1 = source.take<double>();
    const double c2 = source.take<double>();
    const double c3 = source.take<double>();
    const double c4 = source.take<double>();
    std::vector<double> values = source.takeMany<double>(8);
    values.push_back(12345.5);
    checkMasses({delay, timebase, c0, c1, c2, c3, c4}, cubic, values);
    checkMobility(source, values);
    const auto charge = static_cast<std::int32_t>(source.take<std::uint32_t>());
    for (const double value : values) {
        models::kova::oneOverK0ToCcsForMz(value, charge, delay);
        models::kova::ccsToOneOverK0ForMz(value, charge, delay);
    }
    return 0;
}
