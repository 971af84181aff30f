#include "calibration/linear_voltage_ramp.h"

#include <gtest/gtest.h>

#include "fixtures/failure.h"

namespace {

using lumo::calibration::kova::LinearVoltageRamp;

TEST(LinearVoltageRamp, ChecksInOrder) {
    const struct {
        int ndelay;
        int ncycles;
        double vstart;
        double vend;
        const char* text;
    } cases[] = {
        {0, 100, 240.0, 40.0, "none"},
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
        {0, 1, -240.0, -40.0, "none"},
        {2147483647, 2147483647, 240.0, 40.0, "none"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(fixtures::failureOf([&c] { LinearVoltageRamp(c.ndelay, c.ncycles, c.vstart, c.vend); }),
                  c.text);
    }
}

TEST(LinearVoltageRamp, ConvertsWithoutClipping) {
    const LinearVoltageRamp ramp(0, 100, 240.0, 40.0);
    EXPECT_EQ(ramp.scanNumToVoltageNonClipped(100.0), 40.0);
    EXPECT_EQ(ramp.scanNumToVoltageNonClipped(150.0), -60.0);
    EXPECT_EQ(ramp.voltageToScanNumNonClipped(-60.0), 150.0);
}

}  // namespace
