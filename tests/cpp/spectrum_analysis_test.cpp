// kova::SpectrumAnalysis: what it reads, and how it tells empty spectra from failures.
#include <algorithm>

#include <gtest/gtest.h>
#include <kovadata/kovadata.hpp>

#include "fixtures/small_analyses.h"
#include "fixtures/temp_directory.h"

namespace {

using fixtures::TempDirectory;

const std::vector<double> kPositions = {100.5, 2000.25, 3000.0};
TEST(CppSpectrumAnalysis, ReadsLinesWidthsAndProfileUnlessSpansAreTooShort) {
    const TempDirectory directory;
    kova::SpectrumAnalysis analysis(fixtures::smallSpectra().write(directory.path()));
    kova::LineSpectrum lines = analysis.readLinesWithWidths(1);
    const double* const memory = lines.positions.data();
    analysis.readLines(2, lines);
    EXPECT_EQ(lines.positions.size(), 1U);
    EXPECT_TRUE(lines.widths.empty());
    analysis.readLinesWithWidths(1, lines);
    EXPECT_EQ(lines.positions.data(), memory);
    EXPECT_TRUE(std::ranges::equal(lines.positions, kPositions));
    EXPECT_TRUE(std::ranges::equal(lines.intensities, std::vector{5.0F, 7.0F, 9.0F}));
    EXPECT_TRUE(std::ranges::equal(lines.widths, std::vector{0.5F, 1.5F, 2.5F}));
    EXPECT_TRUE(std::ranges::equal(analysis.readProfile(1), std::vector{0U, 3U, 9U, 4U, 0U, 1U}));
    double value = 1000.0;
    analysis.indexToMz(1, {&value, 1}, {&value, 1});
    EXPECT_EQ(analysis.indexToMz(1, 1000.0), value);
    EXPECT_NEAR(analysis.mzToIndex(1, value), 1000.0, 1e-6);

    std::vector<double> positions(3, -1.0);
    std::vector<float> values(2, -1.0F);
    std::vector<float> widths(3, -1.0F);
    EXPECT_EQ(analysis.readLines(1, positions, values), 3U);
    EXPECT_EQ(analysis.readLines(1, positions, widths, values), 3U);
    EXPECT_EQ(positions[0], -1.0);
    EXPECT_EQ(analysis.readLines(1, positions, widths), 3U);
    EXPECT_EQ(positions, kPositions);
    std::vector<std::uint32_t> profile(5);
    EXPECT_EQ(analysis.readProfile(1, profile), 6U);
    EXPECT_EQ(profile, std::vector<std::uint32_t>(5));
}

TEST(CppSpectrumAnalysis, EmptySpectraAreNoFailuresAndFailuresAreToldEachTime) {
    const TempDirectory directory;
    kova::SpectrumAnalysis analysis(
        fixtures::smallSpectra().frameAt(-1).rawBlock({1}, {.numPeaks = 3}).write(directory.path()));
    for (int round = 0; round < 2; ++round) {
        for (const std::int64_t empty : {2, 3}) {
            EXPECT_TRUE(analysis.readProfile(empty).empty());
        }
        EXPECT_TRUE(analysis.readLinesWithWidths(3).positions.empty());
        for (const std::int64_t bad : {4, 99}) {
            EXPECT_THROW(static_cast<void>(analysis.readLines(bad)), kova::Error) << bad;
            EXPECT_THROW(static_cast<void>(analysis.readLinesWithWidths(bad)), kova::Error) << bad;
            EXPECT_THROW(static_cast<void>(analysis.readProfile(bad)), kova::Error) << bad;
        }
        EXPECT_THROW(static_cast<void>(analysis.indexToMz(99, 1.0)), kova::Error);
        try {
            static_cast<void>(analysis.readProfile(4));
        } catch (const kova::Error& error) {
            EXPECT_STREQ(error.what(), "CorruptFrameDataError for FrameId=4: Error reading binary header.");
        }
    }
}

}  // namespace
