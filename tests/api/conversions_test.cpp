#include <cmath>
#include <fstream>
#include <numeric>
#include <sstream>

#include <gtest/gtest.h>

#include "api/analysis.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/temp_directory.h"
#include "kovadata/kvs.h"

namespace {

using fixtures::AnalysisBuilder;
using fixtures::TempDirectory;

using Conversion = decltype(&kova_index_to_mz);

class Conversions : public testing::Test {
protected:
    std::string errorOf(Conversion conversion, std::int64_t frame, double value = 100.0) {
        const std::vector<double> in = {value};
        std::vector<double> out = {-7.0};
        return conversion(analysis.handle, frame, in.data(), out.data(), 1) == 1 ? "" : api::lastError();
    }

    static AnalysisBuilder builder() {
        AnalysisBuilder b;
        b.frame({}).frame({}, {.mzCalibration = 77, .kovaCalibration = 77});
        b.frame({}, {.mzCalibration = std::nullopt, .kovaCalibration = std::nullopt});
        return b.frame({}, {.polarity = "pos"});
    }

    std::filesystem::path spectrum(const analysis_writer::MzCalibrationRecord& row) const {
        return AnalysisBuilder().compression(3).frameAt(-1).mzCalibration(row).write(directory / "spectra");
    }

    TempDirectory directory;
    api::Analysis analysis{builder().write(directory.path())};
};

TEST_F(Conversions, FailuresHaveTheirTexts) {
    const std::pair<std::int64_t, const char*> masses[] = {
        {-1, "No m/z trafo available."},
        {99, "Frame 99 does not exists or is missing MzCalibration/Polarity"},
        {2, "No m/z trafo available."},
        {3, "Frame 3 does not exists or is missing MzCalibration/Polarity"},
        {4, "Polarity has wrong format in KVD."},
    };
    for (const auto& [frame, text] : masses) {
        EXPECT_EQ(errorOf(kova_index_to_mz, frame), text);
        EXPECT_EQ(errorOf(kova_mz_to_index, frame), text);
    }
    const std::pair<std::int64_t, const char*> mobilities[] = {
        {99, "Frame [99] does not exist or is missing KovaCalibration"},
        {2, "No mobility trafo available."},
        {3, "Frame [3] does not exist or is missing KovaCalibration"},
    };
    for (const auto& [frame, text] : mobilities) {
        for (const Conversion conversion : {&kova_scannum_to_oneoverk0, &kova_oneoverk0_to_scannum,
                                            &kova_scannum_to_voltage, &kova_voltage_to_scannum}) {
            EXPECT_EQ(errorOf(conversion, frame), text);
        }
    }
    EXPECT_EQ(errorOf(kova_index_to_mz, 1), "") << "the handle stays usable";
    EXPECT_EQ(errorOf(kova_index_to_mz, 2), "No m/z trafo available.") << "not that of frame 1";
}

// Masses are converted as if their input had been copied before, mobilities one after the other.
TEST_F(Conversions, ArraysMayOverlap) {
    const std::uint64_t spectra = kvs_open(spectrum({}).c_str(), 0);
    const struct {
        Conversion convert;
        std::uint64_t handle;
        std::uint32_t count;
        bool copied;
    } cases[] = {
        {kova_index_to_mz, analysis.handle, 400, true},
        {kova_mz_to_index, analysis.handle, 400, true},
        {kvs_index_to_mz, spectra, 9000, true},
        {kvs_mz_to_index, spectra, 9000, true},
        {kova_scannum_to_voltage, analysis.handle, 9, false},
        {kova_voltage_to_scannum, analysis.handle, 9, false},
    };
    for (const auto& [convert, handle, count, copied] : cases) {
        for (std::size_t target = 0; target <= 6; ++target) {
            std::vector<double> values(count + 6);
            std::iota(values.begin(), values.end(), 100.0);
            std::vector<double> expected = values;
            const std::vector<double> input(values.begin() + 3, values.end() - 3);
            if (copied) {
                convert(handle, 1, input.data(), &expected[target], count);
            }
            for (std::size_t i = 0; i < count && !copied; ++i) {
                convert(handle, 1, &expected[3 + i], &expected[target + i], 1);
            }
            EXPECT_EQ(convert(handle, 1, &values[3], &values[target], count), 1U) << api::lastError();
            EXPECT_EQ(values, expected) << count << ' ' << target;
        }
    }
    kvs_close(spectra);
}

TEST_F(Conversions, WithoutSolutionFailWithTheTextOfTheirNumber) {
    // A falling quadratic term leaves late times without a solution.
    const analysis_writer::MzCalibrationRecord falling = {.coefficients = {300.0, 160000.0, -10.0, 0.0, 0.0}};
    const api::Analysis frames(
        AnalysisBuilder().frame({}).mzCalibration(falling).write(directory / "frames"));
    const std::uint64_t spectra = kvs_open(spectrum(falling).c_str(), 0);
    for (const std::uint32_t count : {1U, 99U, 100U}) {
        const std::string text = count < 100
                                     ? "complex valued solution in computation due to invalid calibration "
                                       "constants/value range"
                                     : "Transformation failed, most likely due to bad calibration constants.";
        std::vector<double> index(count, 0.0);
        index[count - 1] = 1e9;
        const std::vector<double> before = index;
        std::vector<double> masses(count, -7.0);
        EXPECT_EQ(kvs_index_to_mz(spectra, 1, index.data(), masses.data(), count), 0U);
        EXPECT_EQ(api::lastError(kvs_get_last_error_string), text);
        EXPECT_EQ(masses, std::vector<double>(count, -7.0));
        EXPECT_EQ(kvs_index_to_mz(spectra, 1, index.data(), index.data(), count), 0U);
        EXPECT_EQ(index, before);
        EXPECT_EQ(kova_index_to_mz(frames.handle, 1, index.data(), index.data(), count), 0U);
        EXPECT_EQ(api::lastError(), text);
    }
    kvs_close(spectra);
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
        if (cells.size() == 9 && cells[0].size() == 1) {
            const int charge = std::stoi(cells[3]);
            const double mz = std::stod(cells[4]);
            const double ccs = std::stod(cells[6]);
            const double expected = std::stod(cells[8]);
            const double tolerance = expected * (mz < 200.0 ? 0.7e-6 : 0.3e-6) + 0.5e-6;
            EXPECT_NEAR(kova_ccs_to_oneoverk0_for_mz(ccs, charge, mz), expected, tolerance) << line;
            EXPECT_NEAR(kova_oneoverk0_to_ccs_for_mz(expected, charge, mz), ccs, ccs * tolerance / expected);
            ++ions;
        }
    }
    EXPECT_EQ(ions, 19);
}

}  // namespace
