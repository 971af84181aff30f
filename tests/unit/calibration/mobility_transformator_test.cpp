#include <memory>
#include <span>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "calibration/transformation.h"
#include "fixtures/failure.h"
#include "math/linearly_continued_function.h"

namespace {

using fixtures::failureOf;
using lumo::calibration::Polarity;
using namespace lumo::calibration::kova;

constexpr double kC0 = 0.01737;
constexpr double kC1 = 115.45;

TEST(LinearVoltageRamp, ChecksInOrderAndConvertsWithoutClipping) {
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
        EXPECT_EQ(failureOf([&c] { LinearVoltageRamp(c.ndelay, c.ncycles, c.vstart, c.vend); }), c.text);
    }
    const LinearVoltageRamp ramp(0, 100, 240.0, 40.0);
    EXPECT_EQ(ramp.scanNumToVoltageNonClipped(150.0), -60.0);
    EXPECT_EQ(ramp.voltageToScanNumNonClipped(-60.0), 150.0);
}

TEST(RampTransformator, CoefficientChecksInOrder) {
    const std::pair<std::vector<double>, const char*> cases[] = {
        {{0, 1, 100, 200}, "none"},
        {{0, 1, 100}, "Only polynomials of degree 1 supported currently."},
        {{0, 1, 100, 200, 5}, "Only polynomials of degree 1 supported currently."},
        {{0, 0, 200, 100}, "c1, vmin and vmax must be strictly positive."},
        {{0, 1, 0, 100}, "c1, vmin and vmax must be strictly positive."},
        {{0, 1, 100, -1}, "c1, vmin and vmax must be strictly positive."},
        {{0, 1, 100, 100}, "vmax must be larger than vmin."},
        {{-0.01, 1, 10, 100}, "vmax is too large."},
        {{-0.01, 1, 10, 99}, "none"},
        {{1e200, 1, 10, 100}, "Slopes at vmin and vmax must be strictly positive."},
        {{1e80, 1, 10, 100}, "slopes must be non-zero and have same sign."},
    };
    for (const auto& [coefficients, text] : cases) {
        EXPECT_EQ(
            failureOf([&given = coefficients] { makeLvrTransformatorDummyRamp(given, Polarity::Positive); }),
            text);
    }
}

TEST(RampTransformator, RefusedCoefficientsLeaveTheOldOnesUnlessTheContinuationRefuses) {
    const auto trafo = makeLvrTransformatorDummyRamp({0, 1, 100, 200}, Polarity::Positive);
    EXPECT_THROW(trafo->setCoefficients({0, 1, 200, 100}), std::invalid_argument);
    EXPECT_EQ(trafo->getCoefficients(), (std::vector<double>{0, 1, 100, 200}));
    EXPECT_THROW(trafo->setCoefficients({1e80, 1, 10, 100}), std::invalid_argument);
    EXPECT_EQ(trafo->getCoefficients(), (std::vector<double>{1e80, 1, 10, 100}));
}

TEST(RampTransformator, NegativeModeMirrorsTheVoltageAndRangesGiveTheSingleValues) {
    const auto positive = makeLvrTransformatorDummyRamp({kC0, kC1, 60.0, 200.0}, Polarity::Positive);
    const auto negative = makeLvrTransformatorDummyRamp({kC0, kC1, 60.0, 200.0}, Polarity::Negative);
    std::vector<double> range;
    positive->scanNumberToOneOverK0(range, -5, 205);
    ASSERT_EQ(range.size(), 210U);
    for (std::size_t i = 0; i < range.size(); ++i) {
        const double scan = static_cast<double>(i) - 5.0;
        ASSERT_EQ(range[i], positive->scanNumberToOneOverK0(scan));
        ASSERT_EQ(range[i], negative->scanNumberToOneOverK0(scan));
        ASSERT_EQ(positive->scanNumberToVoltage(scan), -negative->scanNumberToVoltage(scan));
        ASSERT_NEAR(negative->oneOverK0ToScanNumber(range[i]), scan, 1e-9);
    }
    EXPECT_THROW(positive->scanNumberToVoltage(range, 4, 3), std::invalid_argument);
}

TEST(RampTransformator, DescribesItself) {
    const auto trafo = makeLvrTransformatorLinear(LinearVoltageRamp(10, 900, -190.1234567, -70.0), 2.5, 0.0,
                                                  1.0, 100.0, 200.0);
    EXPECT_EQ(
        trafo->toString(),
        "[ ILinearVoltageRampBasedTransformator: transit time = 2.5 TOF scans\n  [ LinearVoltageRamp: "
        "ndelay = 10, ncycles = 900, voltage = -190.123 ... -70 (pol=-) ]\n  [ coeffs = 0, 1, 100, 200 ] ]");
    EXPECT_EQ(trafo->getSignificantScanNumberRange(), (std::pair<int, int>(12, 913)));
}

TEST(ScanNumberLinearTransformator, IsLinearWithVoltagesOf42TimesOneOverK0) {
    const auto trafo = makeScanNumberLinearTransformator(0.5, 0.25);
    EXPECT_EQ(trafo->scanNumberToOneOverK0(2.0), 1.0);
    EXPECT_EQ(trafo->scanNumberToVoltage(2.0), 42.0);
    EXPECT_EQ(trafo->voltageToScanNumber(42.0), 2.0);
    EXPECT_EQ(trafo->oneOverK0ToScanNumber(1.0), 2.0);
    EXPECT_EQ(trafo->voltageToOneOverK0(21.0), 0.5);
    EXPECT_EQ(trafo->oneOverK0ToVoltage(0.75), 31.5);
}

// Rounding differs between the models, so each is compared with itself.
TEST(ArrayForms, GiveTheSingleValuesOfTheirModel) {
    using Single = double (ITransformator::*)(double) const;
    using Many = void (IArrayTransformator::*)(std::span<const double>, std::span<double>) const;
    const std::pair<Single, Many> forms[] = {
        {&ITransformator::scanNumberToOneOverK0, &IArrayTransformator::scanNumbersToOneOverK0s},
        {&ITransformator::scanNumberToVoltage, &IArrayTransformator::scanNumbersToVoltages},
        {&ITransformator::oneOverK0ToScanNumber, &IArrayTransformator::oneOverK0sToScanNumbers},
        {&ITransformator::voltageToScanNumber, &IArrayTransformator::voltagesToScanNumbers}};
    const std::unique_ptr<ITransformator> models[] = {
        makeLvrTransformatorDummyRamp({kC0, kC1, 60.0, 200.0}, Polarity::Negative),
        makeScanNumberLinearTransformator(1.6, -0.0011), makeScanNumberLinearTransformator(1.6, -0.0012),
        makeScanNumberLinearTransformator(1.5, -0.0011)};
    const std::vector<double> in = {-7.5, 0.0, 0.3, 1.0, 77.7, 150.0, 901.0};
    for (const auto& model : models) {
        const auto& arrays = dynamic_cast<const IArrayTransformator&>(*model);
        std::vector<double> out(in.size());
        for (const auto& [single, many] : forms) {
            (arrays.*many)(in, out);
            for (std::size_t i = 0; i < in.size(); ++i) {
                EXPECT_EQ(out[i], (model.get()->*single)(in[i])) << model->toString();
            }
        }
        for (const auto& other : models) {
            EXPECT_EQ(arrays.convertsAs(*other), model == other);
        }
    }
}

// Falling functions are continued as well, and where both continuations could answer the low end does.
TEST(LinearlyContinuedFunction, InverseAsksTheLowEndFirst) {
    struct Falling {
        double value(double x) const { return -x; }
        double inverse(double y) const { return -y; }
    };
    const Falling inner;
    const lumo::math::LinearlyContinuedFunction<Falling> f(inner, {0.0, 0.0, -2.0}, {1.0, -1.0, -3.0});
    EXPECT_EQ(f.value(-1.0), 2.0);
    EXPECT_EQ(f.value(2.0), -4.0);
    EXPECT_EQ(f.inverse(2.0), -1.0);
    EXPECT_EQ(f.inverse(-4.0), 2.0);
    EXPECT_EQ(f.inverse(-0.5), 0.5);
    const lumo::math::LinearlyContinuedFunction<Falling> overlapping(inner, {0.0, -5.0, 1.0},
                                                                     {1.0, -7.0, 1.0});
    EXPECT_EQ(overlapping.inverse(-6.0), -1.0);
    EXPECT_THROW((lumo::math::LinearlyContinuedFunction<Falling>(inner, {0, 0, 1}, {1, 1, -1})),
                 std::invalid_argument);
}

}  // namespace
