#include "calibration/linear_voltage_ramp.h"

#include <cmath>
#include <limits>
#include <stdexcept>

#include <gtest/gtest.h>

namespace {

using lumo::calibration::kova::LinearVoltageRamp;
using lumo::calibration::kova::makeDummyLinearVoltageRampForPolarity;

struct RampCase {
    int ndelay;
    int ncycles;
    double vstart;
    double vend;
    const char* text;  // "" when the ramp is good
};

TEST(LinearVoltageRamp, ChecksInOrder) {
    const RampCase cases[] = {
        {0, 100, 240.0, 40.0, ""},
        {-1, 0, 5.0, 5.0, "Vend must be != Vstart."},
        {-1, 0, 10.0, 5.0, "ncycles must be > 0."},
        {-1, 100, 10.0, 5.0, "ndelay must be >= 0."},
        {0, 100, 5.0, 10.0, "Ramp in positive mode must be decreasing."},
        {0, 100, 0.0, -10.0, "Ramp in negative mode must be increasing."},
        {0, 100, -5.0, -10.0, "Ramp in negative mode must be increasing."},
        {0, 100, -5.0, 5.0, "Voltage ramp has zero crossing (not allowed)."},
        {0, 100, 5.0, -5.0, "Voltage ramp has zero crossing (not allowed)."},
        {0, 100, 0.0, 10.0, "Voltage ramp has zero crossing (not allowed)."},
        {0, 100, 10.0, 0.0, "Voltage ramp has zero crossing (not allowed)."},
        {0, 1, -240.0, -40.0, ""},
        {2147483647, 2147483647, 240.0, 40.0, ""},
    };
    for (const RampCase& c : cases) {
        std::string text;
        try {
            LinearVoltageRamp(c.ndelay, c.ncycles, c.vstart, c.vend);
        } catch (const std::invalid_argument& e) {
            text = e.what();
        }
        EXPECT_EQ(text, c.text) << c.vstart << " ... " << c.vend;
    }
}

TEST(LinearVoltageRamp, ConvertsWithoutClipping) {
    const LinearVoltageRamp ramp(0, 100, 240.0, 40.0);
    EXPECT_EQ(ramp.scanNumToVoltageNonClipped(0.0), 240.0);
    EXPECT_EQ(ramp.scanNumToVoltageNonClipped(100.0), 40.0);
    EXPECT_EQ(ramp.scanNumToVoltageNonClipped(150.0), -60.0);
    EXPECT_EQ(ramp.voltageToScanNumNonClipped(-60.0), 150.0);
    const LinearVoltageRamp shifted(7, 93, 211.3, 33.7);
    EXPECT_NEAR(shifted.scanNumToVoltageNonClipped(7.0), 211.3, 1e-12);
    EXPECT_NEAR(shifted.scanNumToVoltageNonClipped(100.0), 33.7, 1e-12);
}

TEST(LinearVoltageRamp, TextAndEquality) {
    EXPECT_EQ(toString(makeDummyLinearVoltageRampForPolarity(true)),
              "[ LinearVoltageRamp: ndelay = 0, ncycles = 100, voltage = -240 ... -40 (pol=-) ]");
    EXPECT_EQ(toString(LinearVoltageRamp(1, 900, 190.1234567, 70.0)),
              "[ LinearVoltageRamp: ndelay = 1, ncycles = 900, voltage = 190.123 ... 70 (pol=+) ]");
    const LinearVoltageRamp ramp(1, 2, 3.0, 2.0);
    EXPECT_TRUE(ramp == LinearVoltageRamp(1, 2, 3.0, 2.0));
    for (const LinearVoltageRamp& other :
         {LinearVoltageRamp(0, 2, 3.0, 2.0), LinearVoltageRamp(1, 3, 3.0, 2.0),
          LinearVoltageRamp(1, 2, 3.5, 2.0), LinearVoltageRamp(1, 2, 3.0, 1.0)}) {
        EXPECT_TRUE(ramp != other);
    }
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(LinearVoltageRamp(1, 2, nan, 2.0) != LinearVoltageRamp(1, 2, nan, 2.0));
}

}  // namespace
