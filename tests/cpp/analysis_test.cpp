// kova::Analysis and its values beside the C functions that they call.
#include <filesystem>
#include <ranges>
#include <utility>

#include <gtest/gtest.h>
#include <kovadata/kovadata.hpp>

#include "fixtures/small_analyses.h"
#include "fixtures/temp_directory.h"

namespace {

using fixtures::AnalysisBuilder;
using fixtures::TempDirectory;

static_assert(std::ranges::forward_range<kova::Scans> && std::ranges::forward_range<kova::Frame&>);
static_assert(std::is_nothrow_move_constructible_v<kova::Frame> && std::copyable<kova::Frame>);
static_assert(std::movable<kova::Analysis> && sizeof(kova::Analysis) == sizeof(std::uint64_t));

using Words = std::vector<std::uint32_t>;
using Peaks = std::vector<std::pair<Words, Words>>;

Peaks peaksOf(const kova::Frame& frame) {
    Peaks peaks;
    for (const kova::Scan scan : frame) {
        EXPECT_EQ(scan.number, frame.begin().operator*().number + peaks.size());
        peaks.push_back(
            {{scan.indices.begin(), scan.indices.end()}, {scan.intensities.begin(), scan.intensities.end()}});
    }
    return peaks;
}

template <class Exception>
std::string textOf(const auto& body) {
    try {
        body();
    } catch (const Exception& error) {
        return error.what();
    }
    return "nothing was thrown";
}

// Two frames of three scans; frame 2 is MS/MS, with precursors 1 and 2 of frame 1.
class CppAnalysis : public testing::Test {
protected:
    TempDirectory directory;
    kova::Analysis analysis{fixtures::smallZorelRun(2)
                                .schema(2)
                                .sql("UPDATE Frames SET AccumulationTime=50, RampTime=100")
                                .write(directory.path())};
    const std::vector<std::int64_t> ids = {2, 1, 77};
};

TEST_F(CppAnalysis, FramesHaveTheirScansAndAreValuesThatKeepTheirMemory) {
    kova::Frame frame = analysis.readFrame(1, 0, 3, kova::Intensities::measured);
    const Peaks all = {{{100, 2000}, {5, 7}}, {}, {{3000, 3001}, {4, 6}}};
    EXPECT_EQ(peaksOf(frame), all);
    EXPECT_TRUE(std::ranges::equal(frame.counts(), Words{2, 0, 2}));
    EXPECT_EQ(frame.id(), 1);
    EXPECT_EQ(frame.peakCount(), 4U);
    const std::uint32_t* const memory = frame.counts().data();
    const kova::Frame copy = frame;

    analysis.readFrame(1, 2, 3, frame, kova::Intensities::measured);
    EXPECT_EQ(frame.counts().data(), memory);
    EXPECT_EQ(peaksOf(frame), Peaks{all[2]});
    EXPECT_TRUE(std::ranges::equal(frame.indices(2), all[2].first));
    EXPECT_TRUE(std::ranges::equal(frame.intensities(2), all[2].second));
    EXPECT_THROW(static_cast<void>(frame.at(1)), std::out_of_range);
    EXPECT_THROW(static_cast<void>(frame.at(3)), std::out_of_range);
    EXPECT_EQ(peaksOf(analysis.readFrame(1, 0, 1)), (Peaks{{{100, 2000}, {10, 14}}}));
    EXPECT_EQ(peaksOf(copy), all);

    kova::Frame taken = std::move(frame);
    EXPECT_EQ(peaksOf(taken), Peaks{all[2]});
    EXPECT_TRUE(frame.empty());  // NOLINT(bugprone-use-after-move): what is left is promised
    EXPECT_EQ(frame.begin(), frame.end());
    EXPECT_EQ(textOf<kova::Error>([&] { analysis.readFrame(1, 2, 2, taken); }),
              "scan_end must be > scan_begin");
    EXPECT_TRUE(taken.empty());
}

TEST(CppCountScans, FindsTheEndOfAnyFrame) {
    const std::uint32_t counts[] = {1, 2, 3, 4, 7, 1000};
    for (const int compression : {1, 2}) {
        const TempDirectory directory;
        AnalysisBuilder builder;
        builder.compression(compression);
        for (const std::uint32_t scans : counts) {
            builder.frame(fixtures::Frame(scans));
        }
        kova::Analysis counted(builder.write(directory.path()));
        for (std::int64_t id = 1; const std::uint32_t scans : counts) {
            EXPECT_EQ(counted.countScans(id++), scans);
        }
        EXPECT_EQ(textOf<kova::Error>([&] { static_cast<void>(counted.countScans(99)); }),
                  "CorruptFrameDataError for FrameId=99: Frame doesn't exist");
    }
}

TEST_F(CppAnalysis, ScansInMemoryOfTheCaller) {
    const std::size_t needed = analysis.readScans(1, 0, 3, {});
    EXPECT_EQ(needed, 11U);
    Words words(needed, 9);
    EXPECT_EQ(analysis.readScans(1, 0, 3, std::span(words).first(needed - 1)), needed);
    EXPECT_EQ(words, Words(needed, 9));
    ASSERT_EQ(analysis.readScans(1, 0, 3, words), needed);
    EXPECT_EQ(kova::Scans(words, 0, 3).at(2).indices[1], 3001U);
    for (const auto& [begin, end] : {std::pair{0U, 2U}, {0U, 4U}, {3U, 0U}, {0U, 12U}}) {
        EXPECT_THROW(kova::Scans(words, begin, end), std::invalid_argument) << begin << ' ' << end;
    }
}

TEST_F(CppAnalysis, ConversionsAreThoseOfTheFunctionOfTheirName) {
    using kova::Analysis;
    using Many = void (Analysis::*)(std::int64_t, std::span<const double>, std::span<double>);
    using One = double (Analysis::*)(std::int64_t, double);
    using Integers = void (Analysis::*)(std::int64_t, std::span<const std::uint32_t>, std::span<double>);
    const std::vector<std::uint32_t> integers = {1, 2, 250};
    const std::vector<double> values(integers.begin(), integers.end());
    const auto check = [&](decltype(&kova_index_to_mz) plain, Many many, One one, Integers whole = nullptr) {
        std::vector<double> expected(3);
        ASSERT_EQ(plain(analysis.handle(), 1, values.data(), expected.data(), 3), 1U);
        std::vector<double> result = values;
        (analysis.*many)(1, result, result);
        EXPECT_EQ(result, expected);
        EXPECT_EQ((analysis.*one)(1, 250.0), expected[2]);
        if (whole != nullptr) {
            result.assign(3, 0.0);
            (analysis.*whole)(1, integers, result);
            EXPECT_EQ(result, expected);
            EXPECT_THROW((analysis.*whole)(1, integers, std::span(result).first(2)), std::invalid_argument);
        }
        EXPECT_THROW((analysis.*many)(1, values, std::span(result).first(2)), std::invalid_argument);
        EXPECT_THROW((analysis.*many)(99, values, expected), kova::Error);
        EXPECT_THROW(static_cast<void>((analysis.*one)(99, 1.0)), kova::Error);
    };
    check(kova_index_to_mz, &Analysis::indexToMz, &Analysis::indexToMz, &Analysis::indexToMz);
    check(kova_mz_to_index, &Analysis::mzToIndex, &Analysis::mzToIndex);
    check(kova_scannum_to_oneoverk0, &Analysis::scanToOneOverK0, &Analysis::scanToOneOverK0,
          &Analysis::scanToOneOverK0);
    check(kova_oneoverk0_to_scannum, &Analysis::oneOverK0ToScan, &Analysis::oneOverK0ToScan);
    check(kova_scannum_to_voltage, &Analysis::scanToVoltage, &Analysis::scanToVoltage,
          &Analysis::scanToVoltage);
    check(kova_voltage_to_scannum, &Analysis::voltageToScan, &Analysis::voltageToScan);
    EXPECT_EQ(kova::oneOverK0ToCcs(1.1, 2, 600.0), kova_oneoverk0_to_ccs_for_mz(1.1, 2, 600.0));
    EXPECT_EQ(kova::ccsToOneOverK0(400.0, 2, 600.0), kova_ccs_to_oneoverk0_for_mz(400.0, 2, 600.0));
}

TEST_F(CppAnalysis, MsMsByFunctionAndCollected) {
    const auto spectra = analysis.readMsMs(ids);
    const auto profiles = analysis.readMsMsProfiles(ids);
    ASSERT_EQ(spectra.size(), 2U);
    ASSERT_EQ(profiles.size(), 2U);
    EXPECT_GT(spectra[0].mz.size() + spectra[1].mz.size(), 0U);
    EXPECT_EQ(profiles[0].precursor, spectra[0].precursor);
    EXPECT_EQ(profiles[0].intensities.size(), 5100U);
    std::size_t next = 0;
    const auto isNextSpectrum = [&](std::int64_t id, std::span<const double> mz,
                                    std::span<const float> heights) {
        EXPECT_EQ(id, spectra.at(next).precursor);
        EXPECT_TRUE(std::ranges::equal(mz, spectra[next].mz));
        EXPECT_TRUE(std::ranges::equal(heights, spectra[next++].intensities));
    };
    const auto isNextProfile = [&](std::int64_t id, std::span<const std::int32_t> intensities) {
        EXPECT_EQ(id, profiles.at(next).precursor);
        EXPECT_TRUE(std::ranges::equal(intensities, profiles[next++].intensities));
    };
    analysis.readMsMs(ids, isNextSpectrum);
    EXPECT_EQ(std::exchange(next, 0), 2U);
    analysis.readMsMsOfFrame(1, isNextSpectrum);
    EXPECT_EQ(std::exchange(next, 0), 2U);
    analysis.readMsMsProfiles(ids, isNextProfile);
    EXPECT_EQ(std::exchange(next, 0), 2U);
    analysis.readMsMsProfilesOfFrame(1, isNextProfile);
    EXPECT_EQ(next, 2U);
    EXPECT_EQ(analysis.readMsMsOfFrame(1).size(), 2U);
    EXPECT_EQ(analysis.readMsMsProfilesOfFrame(1).size(), 2U);
    EXPECT_TRUE(analysis.readMsMsOfFrame(2).empty());
}

TEST_F(CppAnalysis, WhatAFunctionThrowsArrivesAfterTheCall) {
    struct Stop {};
    kova_open("no/such/directory", 0);
    int calls = 0;
    const auto stop = [&] {
        ++calls;
        throw Stop{};
    };
    EXPECT_THROW(analysis.readMsMs(ids, [&](auto, auto, auto) { stop(); }), Stop);
    EXPECT_THROW(analysis.readMsMsProfiles(ids, [&](auto, auto) { stop(); }), Stop);
    EXPECT_EQ(calls, 2);
    // The library saw nothing of it.
    EXPECT_EQ(kova::detail::textFrom(&kova_get_last_error_string),
              "Specified analysis directory does not exist.");
    EXPECT_EQ(analysis.readMsMs(ids).size(), 2U);
}

TEST_F(CppAnalysis, CalibrationIsChosenWhenOpening) {
    EXPECT_FALSE(analysis.isRecalibrated());
    fixtures::writeSmallCalibrationStore(directory.path());
    analysis = kova::Analysis(directory.path(), kova::Calibration::recalibrated);
    EXPECT_TRUE(analysis.isRecalibrated());
}

}  // namespace
