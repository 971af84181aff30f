#include "calibration/linear_voltage_ramp.h"

#include <sstream>
#include <stdexcept>

#include "diag/throw.h"

// The ramp as a straight line through its two ends. Refused is what would have no inverse or would pass the
// voltage 0.
namespace lumo::calibration::kova {
namespace {

void checkRamp(int ndelay, int ncycles, double vstart, double vend) {
    if (vstart == vend) {
        LUMO_THROW(std::invalid_argument("Vend must be != Vstart."));
    }
    if (ncycles < 1) {
        LUMO_THROW(std::invalid_argument("ncycles must be > 0."));
    }
    if (ndelay < 0) {
        LUMO_THROW(std::invalid_argument("ndelay must be >= 0."));
    }
    if (vstart > 0.0 && vend > vstart) {
        LUMO_THROW(std::invalid_argument("Ramp in positive mode must be decreasing."));
    }
    // Deliberate: a start of exactly 0 is judged as negative mode.
    if (vstart <= 0.0 && vstart > vend) {
        LUMO_THROW(std::invalid_argument("Ramp in negative mode must be increasing."));
    }
    if (vstart * vend <= 0.0) {
        LUMO_THROW(std::invalid_argument("Voltage ramp has zero crossing (not allowed)."));
    }
}

}  // namespace

LinearVoltageRamp::LinearVoltageRamp(int delay, int cycles, double startVoltage, double endVoltage)
    : ndelay(delay), ncycles(cycles), vstart(startVoltage), vend(endVoltage) {
    checkRamp(ndelay, ncycles, vstart, vend);
    const auto n0 = static_cast<double>(ndelay);
    const double n1 = n0 + static_cast<double>(ncycles);
    // These expressions fix the rounding of every later conversion.
    slope = (vstart - vend) / (n0 - n1);
    intercept = (vend * n0 - vstart * n1) / (n0 - n1);
}

// Slope and intercept follow from these four.
bool operator==(const LinearVoltageRamp& a, const LinearVoltageRamp& b) {
    return a.getDelay() == b.getDelay() && a.getCycles() == b.getCycles() && a.getVstart() == b.getVstart() &&
           a.getVend() == b.getVend();
}

bool operator!=(const LinearVoltageRamp& a, const LinearVoltageRamp& b) { return !(a == b); }

std::string toString(const LinearVoltageRamp& ramp) {
    std::ostringstream text;
    text << "[ LinearVoltageRamp: ndelay = " << ramp.getDelay() << ", ncycles = " << ramp.getCycles()
         << ", voltage = " << ramp.getVstart() << " ... " << ramp.getVend()
         << " (pol=" << (ramp.isNegativeMode() ? '-' : '+') << ") ]";
    return text.str();
}

LinearVoltageRamp makeDummyLinearVoltageRampForPolarity(Polarity polarity) {
    return polarity == Polarity::Negative ? LinearVoltageRamp(0, 100, -240.0, -40.0)
                                          : LinearVoltageRamp(0, 100, 240.0, 40.0);
}

}  // namespace lumo::calibration::kova
