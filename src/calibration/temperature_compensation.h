#pragma once

#include <memory>
#include <optional>

#include "calibration/calibration_constants.h"
#include "calibration/i_calibration_transformator.h"

namespace lumo::calibration {

// Whether a transformator is wanted for the temperatures at which a frame was measured, or as the calibration
// is stored, "raw".
enum class TemperatureCompensation { Off, On };

struct Temperatures {
    double t1 = 0.0;
    double t2 = 0.0;
};

// How a calibration depends on two temperature sensors. The flight path and the voltages of an instrument
// change with its temperature, and with them the scale factor C1 of its calibration; each frame has its own
// measured temperatures.
//
// This library's convention: a coefficient is the change of C1 in parts per million per kelvin,
//     C1' = C1 * (1 + 1e-6 * (dC1 * (T1 - T1ref) + dC2 * (T2 - T2ref))),
// with the frame's measured temperatures T1, T2. The mode is a bit set: 1 uses sensor 1, 2 uses sensor 2, 3
// uses both, 0 none. The formula stands in temperature_compensation.cpp and nowhere else.
struct TemperatureCompensationInfo {
    Temperatures reference;     // temperatures at which the calibration was made
    Temperatures coefficients;  // dC1 and dC2
    int mode = kBothSensors;

    static constexpr int kBothSensors = 3;
};

// Functional constants that carry temperatures. None of these values takes part in a conversion.
class ICalibrationConstantsFunctionalTemperatureCompensation {
public:
    virtual ~ICalibrationConstantsFunctionalTemperatureCompensation() = default;

    virtual std::optional<TemperatureCompensationInfo> GetTemperatureCompensationInfo() const = 0;
    virtual void SetTemperatureCompensationInfo(const TemperatureCompensationInfo& info) = 0;
    virtual Temperatures GetMeasuredTemperatures() const = 0;
    virtual int GetTemperatureCompensationMode() const = 0;
    virtual void SetMeasuredTemperatures(const Temperatures& temperatures, int mode) = 0;

    // A copy, temperatures included, with C1 * factor in the place of C1.
    virtual ICalibrationConstantsFunctionalPtr CloneWithScaledC1(double factor) const = 0;
};

class ICalibrationTemperatureCompensator {
public:
    virtual ~ICalibrationTemperatureCompensator() = default;

    // A new transformator for the measured temperatures; the reference stays as it is. With both coefficients
    // 0 the result converts bit for bit like the reference.
    virtual ICalibrationTransformatorPtr Compensate(const ICalibrationTransformator& reference,
                                                    const Temperatures& measured,
                                                    const TemperatureCompensationInfo& info) const = 0;
};

std::unique_ptr<ICalibrationTemperatureCompensator> createCalibrationTemperatureCompensator();

// Attaches the record to the transformator's functional constants; does nothing when they carry no
// temperatures.
void addTemperatureCompensationInfo(ICalibrationTransformator& transformator,
                                    const TemperatureCompensationInfo& info);

// Stores the frame's temperatures and mode in the functional constants, if they carry temperatures.
void setMeasuredTemperatures(ICalibrationTransformator& transformator, const Temperatures& measured,
                             int mode);

// Replaces the transformator by one for the measured temperatures, using the attached record.
void performTemperatureCompensation(ICalibrationTransformatorPtr& transformator,
                                    const Temperatures& measured);

}  // namespace lumo::calibration
