#include <bit>
#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "calibration/monotonic_range.h"
#include "fixtures/failure.h"
#include "fixtures/random.h"
#include "tof_transformators.h"

namespace {

using fixtures::failureOf;
using namespace lumo::calibration;
using reference::PlainTof;
using reference::TofConstants;
using tests::kTypical;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr const char* kComplexMass =
    "complex valued solution in computation due to invalid calibration constants/value range";

// All not-a-numbers count as one value: which of them an operation gives is not defined.
std::uint64_t bits(double x) { return std::isnan(x) ? 0x7FF8000000000000 : std::bit_cast<std::uint64_t>(x); }

double anyDouble(fixtures::Random& random) {
    const double special[] = {0.0, -0.0, kInfinity, -kInfinity, kNaN};
    switch (random.below(12)) {
        case 0:
            return special[random.below(5)];
        case 1:
            return std::bit_cast<double>((std::uint64_t{random()} << 32) | random());
        default:
            return (static_cast<double>(random()) - 1e9) *
                   std::pow(10.0, static_cast<double>(random.below(14)) - 10.0);
    }
}

TofConstants randomConstants(fixtures::Random& random) {
    if (random.below(3) == 0) {
        return {anyDouble(random), anyDouble(random), anyDouble(random), anyDouble(random),
                anyDouble(random), anyDouble(random), anyDouble(random)};
    }
    TofConstants c = kTypical;
    c.c1 *= random.below(4) == 0 ? -1.0 : 1.0;
    c.c2 *= static_cast<double>(random.below(2000)) - 1000.0;
    c.c3 = random.below(3) == 0 ? 0.0 : c.c3 * (static_cast<double>(random.below(200)) - 100.0);
    return c;
}

// Single values, short batches and parallel batches against the plain form, bit for bit, failures included.
void expectSameAsPlain(const ICalibrationTransformator& trafo, const PlainTof& plain,
                       const std::vector<double>& values) {
    std::vector<double> solvable;
    for (const double value : values) {
        if (plain.indexToMass(value)) {
            solvable.push_back(value);
        } else {
            ASSERT_EQ(failureOf([&] { trafo.DIndexToMass(value); }), kComplexMass);
        }
    }
    ASSERT_EQ(trafo.DIndexToMassFails(values), solvable.size() != values.size());
    std::vector<double> masses;
    trafo.DIndexToMass(solvable, masses);
    std::vector<double> inPlace = solvable;
    trafo.DIndexToMass(inPlace);
    for (std::size_t i = 0; i < solvable.size(); ++i) {
        const std::uint64_t expected = bits(*plain.indexToMass(solvable[i]));
        ASSERT_EQ(bits(trafo.DIndexToMass(solvable[i])), expected) << solvable[i];
        ASSERT_EQ(bits(masses[i]), expected) << solvable[i];
        ASSERT_EQ(bits(inPlace[i]), expected) << solvable[i];
    }
    std::vector<double> indices;
    trafo.MassToDIndex(values, indices);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::uint64_t expected = bits(plain.massToIndex(values[i]));
        ASSERT_EQ(bits(trafo.MassToDIndex(values[i])), expected) << values[i];
        ASSERT_EQ(bits(indices[i]), expected) << values[i];
    }
}

TEST(TofModels, EveryFormEqualsThePlainOneBitForBit) {
    fixtures::Random random(21);
    for (int round = 0; round < 400; ++round) {
        const TofConstants constants = randomConstants(random);
        std::vector<double> values(random.below(2) != 0 ? 60 : 260);
        for (double& value : values) {
            value = random.below(2) != 0 ? anyDouble(random) : static_cast<double>(random.below(400'000));
        }
        expectSameAsPlain(*tests::makeQuadratic(constants), PlainTof(constants, false), values);
        expectSameAsPlain(*tests::makeCubic(constants), PlainTof(constants, true), values);
    }
}

TEST(Transformator, ConstantsOfAnotherKindAreRefusedAndChangeNothing) {
    const auto trafo = tests::makeQuadratic(kTypical);
    const double before = trafo->DIndexToMass(1000.0);
    EXPECT_THROW(trafo->SetFunctionalConstants(createCalibrationConstantsFunctionalTOF2(1, 2, 3, 4, 5)),
                 std::invalid_argument);
    EXPECT_THROW(trafo->SetPhysicalConstants(nullptr), std::invalid_argument);
    EXPECT_EQ(trafo->DIndexToMass(1000.0), before);
    EXPECT_TRUE(trafo->Equals(trafo->Clone()));
    EXPECT_FALSE(trafo->Equals(tests::makeCubic(kTypical)) || trafo->Equals(nullptr));
    TofConstants other = kTypical;
    other.c2 += 1e-9;
    EXPECT_FALSE(trafo->Equals(tests::makeQuadratic(other)));
}

TEST(Transformator, IndicesAreShiftedScaledAndRounded) {
    const auto trafo = tests::makeQuadratic(kTypical);
    EXPECT_EQ(trafo->MassToIndex(trafo->DIndexToMass(1000.4)), 1000);
    EXPECT_EQ(trafo->MassToIndex(trafo->DIndexToMass(1000.6)), 1001);
    std::vector<double> masses;
    trafo->IndexToMass(5, 7, masses);
    EXPECT_EQ(masses, (std::vector<double>{trafo->IndexToMass(5), trafo->IndexToMass(6)}));
    EXPECT_EQ(failureOf([&] { trafo->IndexToMass(8, 7, masses); }), "end must be >= begin.");
    EXPECT_NEAR(trafo->MassWidthToIndex(trafo->DIndexToMass(1000.0), trafo->IndexWidthToMass(1000.0, 4.0)),
                4.0, 1e-3);
    const auto [low, high] = trafo->monotonicMassRange(500.0);
    EXPECT_TRUE(low < 500.0 && 500.0 < high);
    const auto turning = turningRootsOfCubic(2.0, -6.0, -90.0);  // where 6 (s + 3) (s - 5) is 0
    EXPECT_TRUE(turning.any && turning.low == -3.0 && turning.high == 5.0);
    const double shifted = trafo->DIndexToMass(1010.0);
    trafo->SetIndexOffset(10.0);
    EXPECT_EQ(trafo->DIndexToMass(1000.0), shifted);
    trafo->AssimilateIndexOffset();
    EXPECT_EQ(trafo->GetIndexOffset(), 0.0);
    EXPECT_NEAR(trafo->DIndexToMass(1000.0), shifted, 1e-9);
    const double raw = trafo->DIndexToRaw(500.0);
    trafo->AdaptRawIndexTransform(2.0, 30.0);
    EXPECT_NEAR(trafo->DIndexToRaw(500.0), 2.0 * raw + 30.0, 1e-9);
}

}  // namespace
