#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "calibration/calibration_polynomial_hpc.h"
#include "calibration/calibration_transformator_hpc.h"
#include "calibration/temperature_compensation.h"
#include "tof_transformators.h"

namespace {

using namespace lumo::calibration;
using tests::kTypical;

ICalibrationTransformatorPtr withCorrection(std::vector<double> coefficients, double p0, double p1, double p2,
                                            double p3) {
    return createCalibrationTransformatorHPC(
        tests::makeQuadratic(kTypical),
        std::make_shared<const CalibrationPolynomialHPC>(std::move(coefficients), p0, p1, p2, p3));
}

TEST(Hpc, CorrectsByPartsPerMillionInsideItsRange) {
    // 2 ppm + 0.01 ppm per Th, argument bounded to 400 ... 800, applied from 300 to 1000.
    const auto trafo = withCorrection({2.0, 0.01}, 400.0, 800.0, 300.0, 1000.0);
    const auto base = tests::makeQuadratic(kTypical);
    const std::pair<double, double> cases[] = {
        {250.0, 0.0}, {350.0, 6.0}, {500.0, 7.0}, {900.0, 10.0}, {1100.0, 0.0}};
    for (const auto& [mass, ppm] : cases) {
        const double index = base->MassToDIndex(mass);
        const double m0 = base->DIndexToMass(index);
        EXPECT_NEAR((trafo->DIndexToMass(index) / m0 - 1.0) * 1e6, ppm, 1e-6) << mass;
        EXPECT_NEAR(trafo->MassToDIndex(trafo->DIndexToMass(index)), index, 1e-6) << mass;
    }
}

TEST(Hpc, WithoutCoefficientsItIsTheQuadraticModelBitForBit) {
    const auto base = tests::makeQuadratic(kTypical);
    base->SetIndexOffset(0.37);
    for (const std::vector<double>& none : {std::vector<double>(), std::vector<double>(2, 0.0)}) {
        const auto trafo = createCalibrationTransformatorHPC(
            base, std::make_shared<const CalibrationPolynomialHPC>(none, 0, 0, -1e9, 1e9));
        for (const double value : {-100.0, 0.0, 1.5, 99'999.25, 1e7, 1e150}) {
            EXPECT_EQ(trafo->DIndexToMass(value), base->DIndexToMass(value));
            EXPECT_EQ(trafo->MassToDIndex(value), base->MassToDIndex(value));
        }
    }
}

TEST(Hpc, InverseIsExactToRoundingAndAlwaysEnds) {
    const CalibrationPolynomialHPC polynomial({5.0, -0.02, 1e-5}, 200.0, 1500.0, 100.0, 2000.0);
    for (double mass = 101.0; mass < 1999.0; mass += 7.3) {
        const double corrected = polynomial.Corrected(mass);
        EXPECT_NEAR(polynomial.Uncorrected(corrected) / mass, 1.0, 1e-12);
    }
    const CalibrationPolynomialHPC falling({3e6, -8000.0}, 300.0, 450.0, 300.0, 450.0);
    EXPECT_NEAR(falling.Uncorrected(320.0), 400.0, 1e-9);
    const double huge = std::numeric_limits<double>::max();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const CalibrationPolynomialHPC wild[] = {{{1e300, -1e300}, -huge, huge, -huge, huge},
                                             {{nan, 1.0}, 0.0, 1.0, 0.0, 1e9},
                                             {{-1e6}, 0.0, 1.0, 0.0, 1e9},
                                             {{1.0}, nan, nan, nan, nan},
                                             {{3e5}, 10.0, 5.0, 7.0, 3.0}};
    for (const CalibrationPolynomialHPC& each : wild) {
        for (const double mass : {-1.0, 0.0, 500.0, huge, nan}) {
            each.Uncorrected(mass);  // any value will do, as long as it comes
        }
    }
}

TEST(TemperatureCompensation, ScalesC1ByPartsPerMillionPerKelvinOfTheSensorsOfItsMode) {
    const auto compensated = [](int mode, Temperatures coefficients, Temperatures measured) {
        auto trafo = tests::makeCubic(kTypical);
        addTemperatureCompensationInfo(
            *trafo, {.reference = {20.0, 30.0}, .coefficients = coefficients, .mode = mode});
        performTemperatureCompensation(trafo, measured);
        return trafo->DIndexToMass(12'345.0);
    };
    const auto withPpm = [](double ppm) {
        reference::TofConstants constants = kTypical;
        constants.c1 *= 1.0 + 1e-6 * ppm;
        return tests::makeCubic(constants)->DIndexToMass(12'345.0);
    };
    EXPECT_EQ(compensated(0, {5.0, 5.0}, {21.0, 31.0}), withPpm(0.0));
    EXPECT_EQ(compensated(1, {5.0, 7.0}, {21.0, 39.0}), withPpm(5.0));
    EXPECT_EQ(compensated(2, {5.0, 7.0}, {21.0, 39.0}), withPpm(63.0));
    EXPECT_EQ(compensated(3, {10.0, -4.0}, {25.0, 31.0}), withPpm(46.0));
    EXPECT_EQ(compensated(3, {0.0, 0.0}, {std::numeric_limits<double>::infinity(), 1.0}), withPpm(0.0));
    EXPECT_THROW(compensated(4, {1.0, 1.0}, {1.0, 1.0}), std::invalid_argument);
}

}  // namespace
