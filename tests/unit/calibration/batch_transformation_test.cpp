#include "calibration/batch_transformation.h"

#include <gtest/gtest.h>
#include <omp.h>

#include "fixtures/failure.h"
#include "tof_transformators.h"

namespace {

using fixtures::failureOf;

constexpr const char* kComplex =
    "complex valued solution in computation due to invalid calibration constants/value range";
constexpr const char* kParallel = "Transformation failed, most likely due to bad calibration constants.";

// A falling quadratic term: late times have no solution.
lumo::calibration::ICalibrationTransformatorPtr unsolvable() {
    reference::TofConstants c = tests::kTypical;
    c.c2 = -10.0;
    return tests::makeQuadratic(c);
}

TEST(BatchTransformation, FailuresAreFoundAnywhereAndTellWhetherTheLoopWasParallel) {
    const auto trafo = unsolvable();
    omp_set_num_threads(3);
    for (const auto& [size, bad] : {std::pair(100U, 0U), {100U, 50U}, {100U, 99U}, {50'000U, 49'999U}}) {
        std::vector<double> values(size, 0.0);
        values[bad] = 1e9;
        std::vector<double> masses(size);
        EXPECT_EQ(failureOf([&] { trafo->DIndexToMass(values, masses); }), kParallel);
        EXPECT_EQ(failureOf([&] { trafo->DIndexToMassOnThisThread(values, masses); }), kParallel);
    }
    std::string inside;
    std::string insideOnThisThread;
#pragma omp parallel num_threads(2)
    {
#pragma omp master  // what it writes is read by this thread, as far as a race detector can see
        {
            const std::vector<double> values(1000, 1e9);
            std::vector<double> masses(1000);
            inside = failureOf([&] { trafo->DIndexToMass(values, masses); });
            insideOnThisThread = failureOf([&] { trafo->DIndexToMassOnThisThread(values, masses); });
        }
    }
    EXPECT_EQ(inside, kComplex);
    EXPECT_EQ(insideOnThisThread, kComplex);
}

}  // namespace
