#pragma once

#include <string>

#include "calibration/polarity.h"

namespace lumo::calibration::kova {

// The voltage of a mobility ramp, in volts, as a linear function of the scan number. A value; never invalid.
// Both voltages have the same sign, that of the polarity, and their absolute value falls from start to end.
// So the inverse exists, and a ramp never passes the voltage 0, at which a mobility would have no meaning.
class LinearVoltageRamp {
public:
    // `ndelay` scans come before the ramp of `ncycles` scans, which goes from `vstart` at scan ndelay to
    // `vend` at ndelay + ncycles. What is no ramp raises std::invalid_argument.
    LinearVoltageRamp(int ndelay, int ncycles, double vstart, double vend);

    bool isNegativeMode() const { return 0.0 > vstart; }

    // Not clipped: any scan number and any voltage is accepted, on the ramp or not.
    double scanNumToVoltageNonClipped(double scanNumber) const { return scanNumber * slope + intercept; }
    double voltageToScanNumNonClipped(double voltage) const { return (voltage - intercept) / slope; }

    int getDelay() const { return ndelay; }
    int getCycles() const { return ncycles; }
    double getVstart() const { return vstart; }
    double getVend() const { return vend; }

private:
    int ndelay;
    int ncycles;
    double vstart;
    double vend;
    double slope;      // voltage per scan
    double intercept;  // voltage at scan 0
};

// Exact comparison of the four given values; the derived ones follow from them.
bool operator==(const LinearVoltageRamp& a, const LinearVoltageRamp& b);
bool operator!=(const LinearVoltageRamp& a, const LinearVoltageRamp& b);

std::string toString(const LinearVoltageRamp& ramp);

LinearVoltageRamp makeDummyLinearVoltageRampForPolarity(Polarity polarity);

}  // namespace lumo::calibration::kova
