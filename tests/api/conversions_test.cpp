#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>

#include <gtest/gtest.h>

#include "analysis-writer/calibration_store.h"
#include "api/analysis.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/temp_directory.h"

namespace {

using fixtures::AnalysisBuilder;
using fixtures::TempDirectory;

using Conversion = decltype(&kova_index_to_mz);

// In double precision, from the formulas as the header states them.
struct DefaultCalibration {
    static double mzToIndex(double mz) {
        const double a1 = 1e12 / 160000.0;
        return ((300.0 + std::sqrt(a1 * mz) + 0.005 * mz) - 24000.0) / 0.2;
    }
    static double scanToVoltage(double scan) { return 190.0 + (scan - 33.0 - 1.0) * (70.0 - 190.0) / 900.0; }
    static double scanToOneOverK0(double scan) { return 1.0 / (115.45 / scanToVoltage(scan) + 0.01737); }
};

class Conversions : public testing::Test {
protected:
    std::string errorOf(Conversion conversion, std::int64_t frame, double value = 100.0) {
        const std::vector<double> in = {value};
        std::vector<double> out = {-7.0};
        return conversion(analysis.handle, frame, in.data(), out.data(), 1) == 1 ? "" : api::lastError();
    }

    std::vector<double> convert(Conversion conversion, std::int64_t frame, std::vector<double> values) {
        EXPECT_EQ(conversion(analysis.handle, frame, values.data(), values.data(),
                             static_cast<std::uint32_t>(values.size())),
                  1U)
            << api::lastError();
        return values;
    }

    static AnalysisBuilder builder() {
        AnalysisBuilder b;
        b.frame({}).frame({}, {.mzCalibration = 2});
        b.frame({}, {.mzCalibration = 77, .kovaCalibration = 77});
        b.frame({}, {.mzCalibration = std::nullopt, .kovaCalibration = std::nullopt});
        b.frame({}, {.polarity = "pos"});
        b.mzCalibration({}).mzCalibration({.id = 2, .coefficients = {300.0, 160000.0, 0.005, -1e-6, 0.01}});
        return b;
    }

    TempDirectory directory;
    api::Analysis analysis{builder().write(directory.path())};
};

TEST_F(Conversions, MassesFollowTheCalibrationAndItsInverse) {
    ASSERT_TRUE(analysis) << api::lastError();
    for (const double mz : {100.0, 622.0289, 1521.97, 1699.0}) {
        const double index = convert(kova_mz_to_index, 1, {mz})[0];
        EXPECT_NEAR(index, DefaultCalibration::mzToIndex(mz), 1e-8);
        EXPECT_NEAR(convert(kova_index_to_mz, 1, {index})[0], mz, 1e-10 * mz);
    }
    EXPECT_NE(convert(kova_mz_to_index, 2, {500.0}), convert(kova_mz_to_index, 1, {500.0}));
}

TEST_F(Conversions, InPlaceAndInSeparateArraysAgreeForEverySize) {
    for (const std::size_t count : {1U, 99U, 100U, 101U, 5000U}) {
        std::vector<double> index(count);
        for (std::size_t i = 0; i < count; ++i) {
            index[i] = 77.25 * static_cast<double>(i);
        }
        std::vector<double> mz(count);
        for (const std::uint32_t threads : {1U, 2U, 5U}) {
            kova_set_num_threads(threads);
            EXPECT_EQ(kova_index_to_mz(analysis.handle, 2, index.data(), mz.data(),
                                       static_cast<std::uint32_t>(count)),
                      1U);
            EXPECT_EQ(convert(kova_index_to_mz, 2, index), mz);
        }
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_EQ(mz[i], convert(kova_index_to_mz, 2, {index[i]})[0]) << i << " of " << count;
        }
    }
}

TEST_F(Conversions, MobilityFollowsTheRampAndItsInverse) {
    for (const double scan : {0.0, 34.0, 450.5, 899.0}) {
        const double voltage = convert(kova_scannum_to_voltage, 1, {scan})[0];
        const double oneOverK0 = convert(kova_scannum_to_oneoverk0, 1, {scan})[0];
        EXPECT_NEAR(voltage, DefaultCalibration::scanToVoltage(scan), 1e-11);
        EXPECT_NEAR(oneOverK0, DefaultCalibration::scanToOneOverK0(scan), 1e-13);
        EXPECT_NEAR(convert(kova_voltage_to_scannum, 1, {voltage})[0], scan, 1e-9);
        EXPECT_NEAR(convert(kova_oneoverk0_to_scannum, 1, {oneOverK0})[0], scan, 1e-9);
    }
    EXPECT_LT(convert(kova_scannum_to_voltage, 1, {5000.0})[0], 0.0) << "nothing is clipped";
}

TEST_F(Conversions, FailuresHaveTheirTexts) {
    const std::pair<std::int64_t, const char*> masses[] = {
        {-1, "No m/z trafo available."},
        {99, "Frame 99 does not exists or is missing MzCalibration/Polarity"},
        {3, "No m/z trafo available."},
        {4, "Frame 4 does not exists or is missing MzCalibration/Polarity"},
        {5, "Polarity has wrong format in KVD."},
    };
    for (const auto& [frame, text] : masses) {
        EXPECT_EQ(errorOf(kova_index_to_mz, frame), text);
        EXPECT_EQ(errorOf(kova_mz_to_index, frame), text);
    }
    const std::pair<std::int64_t, const char*> mobilities[] = {
        {99, "Frame [99] does not exist or is missing KovaCalibration"},
        {3, "No mobility trafo available."},
        {4, "Frame [4] does not exist or is missing KovaCalibration"},
    };
    for (const auto& [frame, text] : mobilities) {
        for (const Conversion conversion : {&kova_scannum_to_oneoverk0, &kova_oneoverk0_to_scannum,
                                            &kova_scannum_to_voltage, &kova_voltage_to_scannum}) {
            EXPECT_EQ(errorOf(conversion, frame), text);
        }
    }
    EXPECT_EQ(errorOf(kova_index_to_mz, 1), "") << "the handle stays usable";
}

TEST_F(Conversions, NothingToConvertSucceedsWithoutALook) {
    for (const Conversion conversion :
         {&kova_index_to_mz, &kova_mz_to_index, &kova_scannum_to_oneoverk0, &kova_oneoverk0_to_scannum,
          &kova_scannum_to_voltage, &kova_voltage_to_scannum}) {
        EXPECT_EQ(conversion(analysis.handle, 99, nullptr, nullptr, 0), 1U);
    }
}

TEST(RecalibratedState, NewestCompleteStateIsUsedWhenAskedFor) {
    const TempDirectory directory;
    AnalysisBuilder().frame({}).write(directory.path());
    analysis_writer::CalibrationStore store(directory.path());
    for (const std::int64_t state : {1, 2, 3}) {
        analysis_writer::RefMzCalibrationRow row{.state = state, .id = state};
        row.coefficients[1] = 160'000.0 + static_cast<double>(state);
        store.addState({state, "key " + std::to_string(state), "s", 0, state, {}});
        store.addRefMzCalibration(row);
        store.addDigitizerConstants(state, 0.2, 24000.0);
        store.addKovaCalibration(state, {});
        if (state < 3) {  // the third is incomplete
            store.mapKovaCalibration(state, 1, 1);
        }
    }
    store.commit();
    const auto massOf = [](const api::Analysis& analysis) {
        double value = 50'000.0;
        EXPECT_EQ(kova_index_to_mz(analysis.handle, 1, &value, &value, 1), 1U) << api::lastError();
        return value;
    };
    const api::Analysis acquired(directory.path());
    const api::Analysis recalibrated(directory.path(), true);
    ASSERT_TRUE(recalibrated) << api::lastError();
    EXPECT_EQ(kova_has_recalibrated_state(acquired.handle), 0U);
    EXPECT_EQ(kova_has_recalibrated_state(recalibrated.handle), 1U);
    EXPECT_NEAR(massOf(recalibrated) / massOf(acquired), 160'002.0 / 160'000.0, 1e-6);
}

TEST(ConversionWithoutSolution, TextDependsOnTheBatchSize) {
    const TempDirectory directory;
    // A falling quadratic term leaves late times without a solution.
    const api::Analysis analysis(AnalysisBuilder()
                                     .frame({})
                                     .mzCalibration({.coefficients = {300.0, 160000.0, -10.0, 0.0, 0.0}})
                                     .write(directory.path()));
    const std::pair<std::uint32_t, const char*> cases[] = {
        {1, "complex valued solution in computation due to invalid calibration constants/value range"},
        {99, "complex valued solution in computation due to invalid calibration constants/value range"},
        {100, "Transformation failed, most likely due to bad calibration constants."}};
    for (const auto& [count, text] : cases) {
        std::vector<double> index(count, 0.0);
        index.back() = 1e9;
        EXPECT_EQ(kova_index_to_mz(analysis.handle, 1, index.data(), index.data(), count), 0U);
        EXPECT_EQ(api::lastError(), text);
    }
}

TEST(CollisionalCrossSection, RoundTripsAndLimits) {
    for (const int charge : {-3, -1, 1, 2, 5}) {
        const double ccs = kova_oneoverk0_to_ccs_for_mz(1.1, charge, 700.0);
        EXPECT_NEAR(kova_ccs_to_oneoverk0_for_mz(ccs, charge, 700.0), 1.1, 1e-14);
    }
    EXPECT_NE(kova_oneoverk0_to_ccs_for_mz(1.1, 2, 700.0), kova_oneoverk0_to_ccs_for_mz(1.1, -2, 700.0));
    EXPECT_EQ(kova_oneoverk0_to_ccs_for_mz(1.1, 0, 700.0), 0.0);
    EXPECT_TRUE(std::isinf(kova_ccs_to_oneoverk0_for_mz(300.0, 0, 700.0)));
    EXPECT_TRUE(std::isnan(kova_oneoverk0_to_ccs_for_mz(1.1, 1, -10.0)));
}

// Published calibrant ions with 1/K0 computed from fundamental constants. The lumped factor lies 0.17 ppm
// below those constants and the electron mass matters at low mass; the table has six decimals.
TEST(CollisionalCrossSection, AgreesWithThePublishedCalibrants) {
    std::ifstream table(KOVADATA_REFERENCE_TABLES "/tunemix_ccs_n2.csv");
    if (!table) {
        GTEST_SKIP() << "no reference tables in " << KOVADATA_REFERENCE_TABLES;
    }
    int ions = 0;
    for (std::string line; std::getline(table, line);) {
        std::vector<std::string> cells;
        std::istringstream cellStream(line);
        for (std::string cell; std::getline(cellStream, cell, ',');) {
            cells.push_back(cell);
        }
        if (cells.size() != 9 || cells[0].size() != 1) {
            continue;
        }
        const int charge = std::stoi(cells[3]);
        const double mz = std::stod(cells[4]);
        const double ccs = std::stod(cells[6]);
        const double expected = std::stod(cells[8]);
        const double tolerance = expected * (mz < 200.0 ? 0.7e-6 : 0.3e-6) + 0.5e-6;
        EXPECT_NEAR(kova_ccs_to_oneoverk0_for_mz(ccs, charge, mz), expected, tolerance) << line;
        EXPECT_NEAR(kova_oneoverk0_to_ccs_for_mz(expected, charge, mz), ccs, ccs * tolerance / expected)
            << line;
        ++ions;
    }
    EXPECT_EQ(ions, 19);
}

}  // namespace
