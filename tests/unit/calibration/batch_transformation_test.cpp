#include "calibration/batch_transformation.h"

#include <functional>

#include <omp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

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
    for (const std::size_t bad : {0U, 50U, 99U}) {
        std::vector<double> values(100, 0.0);
        values[bad] = 1e9;
        std::vector<double> masses(100);
        EXPECT_EQ(failureOf([&] { trafo->DIndexToMass(values, masses); }), kParallel);
        EXPECT_EQ(failureOf([&] { trafo->DIndexToMassOnThisThread(values, masses); }), kParallel);
    }
    std::string inside;
    std::string insideOnThisThread;
#pragma omp parallel num_threads(2)
    {
#pragma omp single
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

TEST(BatchTransformation, ResultsDoNotDependOnTheNumberOfThreads) {
    const auto trafo = tests::makeCubic(tests::kTypical);
    std::vector<double> values(100'003);
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = 3.7 * static_cast<double>(i);
    }
    std::vector<double> expected;
    for (const int threads : {1, 2, 3, 8}) {
        omp_set_num_threads(threads);
        std::vector<double> masses;
        trafo->DIndexToMass(values, masses);
        expected = threads == 1 ? masses : expected;
        EXPECT_EQ(masses, expected) << threads;
    }
}

#ifndef __SANITIZE_THREAD__  // does not let children start threads

TEST(Fork, ChildrenConvertAfterAParallelConversionOfTheirParent) {
    const auto trafo = tests::makeQuadratic(tests::kTypical);
    const std::vector<double> values(50'000, 1234.5);
    omp_set_num_threads(3);
    std::vector<double> expected;
    trafo->DIndexToMass(values, expected);
    const auto convertsLikeTheParent = [&] {
        std::vector<double> masses;
        trafo->DIndexToMass(values, masses);
        std::vector<double> bad(10'000, 1e9);
        return masses == expected && failureOf([&] { unsolvable()->DIndexToMass(bad); }) == kParallel;
    };
    const auto inChild = [](const std::function<bool()>& body) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(20);  // instead of hanging
            _exit(body() ? 0 : 1);
        }
        int status = -1;
        waitpid(child, &status, 0);
        return status == 0;
    };
    EXPECT_TRUE(inChild([&] { return convertsLikeTheParent() && inChild(convertsLikeTheParent); }));
    EXPECT_TRUE(convertsLikeTheParent()) << "the parent goes on in parallel";
}

#endif

}  // namespace
