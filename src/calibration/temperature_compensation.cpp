#include "calibration/temperature_compensation.h"

#include <stdexcept>
#include <string>

#include "diag/throw.h"

// The one place where temperatures change a calibration. C1 is scaled by a factor that is exactly 1 where
// nothing is to be compensated, so such a transformator converts bit for bit like the one that it was made
// from.
namespace lumo::calibration {
namespace {

using TemperatureConstants = ICalibrationConstantsFunctionalTemperatureCompensation;

std::shared_ptr<TemperatureConstants> temperatureConstantsOf(const ICalibrationTransformator& transformator) {
    return std::dynamic_pointer_cast<TemperatureConstants>(transformator.GetFunctionalConstants());
}

std::shared_ptr<TemperatureConstants> requiredTemperatureConstantsOf(
    const ICalibrationTransformator& transformator) {
    auto constants = temperatureConstantsOf(transformator);
    if (!constants) {
        LUMO_THROW(std::invalid_argument(
            "reference transformator lacks temperature-compensation functional constants"));
    }
    return constants;
}

// The mode says which of the two sensors count. A calibration with a mode that nobody knows must not be used
// uncompensated.
double partsPerMillion(const Temperatures& measured, const TemperatureCompensationInfo& info) {
    const double sensor1 = info.coefficients.t1 * (measured.t1 - info.reference.t1);
    const double sensor2 = info.coefficients.t2 * (measured.t2 - info.reference.t2);
    switch (info.mode) {
        case 0:
            return 0.0;
        case 1:
            return sensor1;
        case 2:
            return sensor2;
        case TemperatureCompensationInfo::kBothSensors:
            return sensor1 + sensor2;
        default:
            LUMO_THROW(
                std::invalid_argument("Unknown temperature compensation mode " + std::to_string(info.mode)));
    }
}

class CalibrationTemperatureCompensator final : public ICalibrationTemperatureCompensator {
public:
    ICalibrationTransformatorPtr Compensate(const ICalibrationTransformator& reference,
                                            const Temperatures& measured,
                                            const TemperatureCompensationInfo& info) const override {
        const auto constants = requiredTemperatureConstantsOf(reference);
        const double ppm = partsPerMillion(measured, info);
        ICalibrationTransformatorPtr result = reference.Clone();
        // Without coefficients even an infinite temperature changes nothing.
        if (info.coefficients.t1 != 0.0 || info.coefficients.t2 != 0.0) {
            result->SetFunctionalConstants(constants->CloneWithScaledC1(1.0 + 1e-6 * ppm));
        }
        return result;
    }
};

}  // namespace

std::unique_ptr<ICalibrationTemperatureCompensator> createCalibrationTemperatureCompensator() {
    return std::make_unique<CalibrationTemperatureCompensator>();
}

// Models whose constants do not depend on temperatures have nothing to note; the two functions that only note
// pass them over.
void addTemperatureCompensationInfo(ICalibrationTransformator& transformator,
                                    const TemperatureCompensationInfo& info) {
    if (const auto constants = temperatureConstantsOf(transformator)) {
        constants->SetTemperatureCompensationInfo(info);
    }
}

void setMeasuredTemperatures(ICalibrationTransformator& transformator, const Temperatures& measured,
                             int mode) {
    if (const auto constants = temperatureConstantsOf(transformator)) {
        constants->SetMeasuredTemperatures(measured, mode);
    }
}

void performTemperatureCompensation(ICalibrationTransformatorPtr& transformator,
                                    const Temperatures& measured) {
    const auto constants = requiredTemperatureConstantsOf(*transformator);
    const auto info = constants->GetTemperatureCompensationInfo();
    if (!info) {
        LUMO_THROW(
            std::invalid_argument("reference transformator lacks temperature-compensation information"));
    }
    // Stored first, so that the compensated constants, which are copies, carry them as well.
    constants->SetMeasuredTemperatures(measured, info->mode);
    transformator = createCalibrationTemperatureCompensator()->Compensate(*transformator, measured, *info);
}

}  // namespace lumo::calibration
