#pragma once

#include "calibration/calibration_constants.h"

namespace lumo::calibration {

// The digitizer's delay and time base. Immutable, so transformators share it. A0 and A1 are other names for
// the same two, as models with more coefficients count them.
class CalibrationConstantsPhysicalTOF final : public ICalibrationConstantsPhysicalLinear {
public:
    CalibrationConstantsPhysicalTOF(double delay, double base) : timeDelay(delay), timeBase(base) {}

    double GetTimeDelay() const override { return timeDelay; }
    double GetTimeBase() const override { return timeBase; }
    double GetA0() const override { return timeDelay; }
    double GetA1() const override { return timeBase; }
    bool Equals(const ICalibrationConstantsPhysical& other) const override;
    std::string ToString() const override;

private:
    double timeDelay;
    double timeBase;
};

}  // namespace lumo::calibration
