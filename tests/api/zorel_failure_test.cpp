#include <functional>
#include <stdexcept>

#include <gtest/gtest.h>

#include "analysis-writer/frame_block.h"
#include "api/zorel_results.h"
#include "fixtures/analysis_builder.h"

namespace {

using fixtures::AnalysisBuilder;
using zorel::Line;
using zorel::Profile;
using zorel::readFrame;
using zorel::readList;
using zorel::Result;
using zorel::storeLine;
using zorel::storeProfile;

// One frame of three scans, its own parent, in which precursors 4 and 5 are measured.
AnalysisBuilder smallRun(int compression = 2) {
    AnalysisBuilder builder;
    builder.compression(compression).schema(1).frame({{{2000, 5}}, {{3000, 7}, {3001, 2}}, {{4000, 3}}});
    builder.precursor({.id = 4, .parent = 1, .scanNumber = 0.5})
        .precursor({.id = 5, .parent = 1, .scanNumber = 1.5});
    builder.zorelMsMs(1, 4, 0, 2).zorelMsMs(1, 5, 1, 3);
    return builder;
}

TEST(ZorelFailures, HaveTheirTexts) {
    struct Case {
        const char* sql;
        std::string list;
        std::string frame;
        std::size_t spectraBefore = 0;
    };
    const std::string mismatch =
        "Invalid data, precursor scan ranges have to be identical for every frame, mismatch for precursor 5";
    const std::string noTrafo = "No m/z trafo available.";
    const std::string noTable = "no such table: ZorelFrameMsMsInfo";
    const std::string noFrame = "CorruptFrameDataError for FrameId=9: Frame doesn't exist";
    const std::string order = "scan_end must be >= scan_begin.";
    const std::string noScan = "Scan number [3] out of range.";
    const Case cases[] = {
        {"SELECT 1", "", "", 2},
        {"DROP TABLE Precursors", "No Precursor table found. This is not a ZOREL analysis",
         "no such table: Precursors"},
        {"DROP TABLE ZorelFrameMsMsInfo", noTable, noTable},
        {"INSERT INTO ZorelFrameMsMsInfo VALUES (2,5,0,3)", mismatch, mismatch},
        {"INSERT INTO ZorelFrameMsMsInfo VALUES (2,5,1,2)", mismatch, mismatch},
        {"DELETE FROM MzCalibration", noTrafo, noTrafo},
        {"UPDATE Precursors SET Parent=77", "Frame 77 does not exists or is missing MzCalibration/Polarity",
         ""},
        {"UPDATE ZorelFrameMsMsInfo SET ScanNumEnd=4 WHERE Precursor=5", noScan, noScan, 1},
        {"UPDATE ZorelFrameMsMsInfo SET Frame=9 WHERE Precursor=5", noFrame, noFrame, 1},
        {"UPDATE ZorelFrameMsMsInfo SET Frame=9, ScanNumEnd=ScanNumBegin", "", "", 2},
        {"UPDATE ZorelFrameMsMsInfo SET Frame=9, ScanNumEnd=ScanNumBegin-1", order, order},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.sql);
        const api::Analysis analysis(smallRun().sql(c.sql));
        const Result list = readList(analysis, {4, 5});
        EXPECT_EQ(list.error, c.list);
        EXPECT_EQ(list.lines.size(), c.spectraBefore);
        EXPECT_EQ(readFrame(analysis, 1).error, c.frame);
    }
    const api::Analysis scanWise(
        smallRun(1).sql("UPDATE ZorelFrameMsMsInfo SET ScanNumBegin=4, ScanNumEnd=4"));
    EXPECT_EQ(readList(scanWise, {4}).error, "Scan number out of range.");
}

TEST(ZorelFailures, WidthsUsedUpConcernsLinesOnly) {
    // The 3101 bins of precursor 4 and their reserve are reached with the last width but one.
    const api::Analysis analysis(smallRun().sql(
        "UPDATE MzCalibration SET DigitizerTimebase=1, DigitizerDelay=0, C0=8100.5-199*30000"));
    std::vector<Line> lines;
    std::vector<Profile> profiles;
    EXPECT_EQ(kova_read_zorel_msms_for_frame_v2(analysis.handle, 1, storeLine, &lines), 0U);
    EXPECT_EQ(api::lastError(), "setWidths() reached maximum width.");
    EXPECT_EQ(kova_read_zorel_profile_msms_for_frame_v2(analysis.handle, 1, storeProfile, &profiles), 1U);
    EXPECT_EQ(profiles.size(), 2U);
}

TEST(ZorelFailures, PositionsWithoutMassReadAsInConversionsOfAsManyValues) {
    for (const auto& [peaks, error] :
         {std::pair(
              99U, "complex valued solution in computation due to invalid calibration constants/value range"),
          std::pair(100U, "Transformation failed, most likely due to bad calibration constants.")}) {
        fixtures::Scan scan;
        for (std::uint32_t i = 1; i <= peaks; ++i) {
            scan.push_back({1000 * i, 1});
        }
        const api::Analysis analysis(AnalysisBuilder()
                                         .frame({scan})
                                         .mzCalibration({.coefficients = {300.0, 160000.0, -100.0}})
                                         .precursor({.id = 1, .parent = 1})
                                         .zorelMsMs(1, 1, 0, 1));
        std::vector<Line> lines;
        EXPECT_EQ(kova_read_zorel_msms_for_frame_v2(analysis.handle, 1, storeLine, &lines), 0U);
        EXPECT_EQ(api::lastError(), error);
    }
}

TEST(ZorelArguments, AreCheckedBySecondVersionsOnly) {
    const api::Analysis analysis(AnalysisBuilder().withoutTable("Precursors"));
    const std::uint64_t handle = analysis.handle;
    constexpr std::int64_t kIds[] = {4};
    constexpr const char* kNoIds = "expected non-null 'precursors' pointer";
    constexpr const char* kNoCallback = "expected non-null callback";
    const std::tuple<std::uint32_t, std::string, const char*> cases[] = {
        {kova_read_zorel_msms_v2(handle, nullptr, 1, nullptr, nullptr), api::lastError(), kNoIds},
        {kova_read_zorel_msms_v2(handle, nullptr, 0, nullptr, nullptr), api::lastError(), kNoCallback},
        {kova_read_zorel_profile_msms_v2(handle, nullptr, 1, storeProfile, nullptr), api::lastError(),
         kNoIds},
        {kova_read_zorel_profile_msms_v2(handle, kIds, 1, nullptr, nullptr), api::lastError(), kNoCallback},
        {kova_read_zorel_msms_for_frame_v2(handle, 1, nullptr, nullptr), api::lastError(), kNoCallback},
        {kova_read_zorel_profile_msms_for_frame_v2(handle, 1, nullptr, nullptr), api::lastError(),
         kNoCallback},
    };
    for (const auto& [result, error, text] : cases) {
        EXPECT_EQ(result, 0U);
        EXPECT_EQ(error, text);
    }
    const api::Analysis run(smallRun());
    EXPECT_EQ(kova_read_zorel_msms_v2(run.handle, nullptr, 0, storeLine, nullptr), 1U);
    EXPECT_EQ(kova_read_zorel_msms(run.handle, nullptr, 0, nullptr), 1U);
}

TEST(ZorelCallbacks, WhatTheyThrowEndsTheCallAndLeavesTheHandleUsable) {
    const api::Analysis analysis(smallRun());
    constexpr std::int64_t kIds[] = {4, 5};
    int calls = 0;
    const auto throwing = [](std::int64_t, std::uint32_t, const double*, const float*, void* context) {
        ++*static_cast<int*>(context);
        throw std::out_of_range("enough");
    };
    EXPECT_EQ(kova_read_zorel_msms_v2(analysis.handle, kIds, 2, throwing, &calls), 0U);
    EXPECT_EQ(api::lastError(), "enough");
    EXPECT_EQ(calls, 1);
    const auto throwingNumber = [](std::int64_t, std::uint32_t, const std::int32_t*, void*) { throw 1; };
    EXPECT_EQ(kova_read_zorel_profile_msms_for_frame_v2(analysis.handle, 1, throwingNumber, nullptr), 0U);
    EXPECT_EQ(api::lastError(), "Unknown exception.");
    EXPECT_EQ(readFrame(analysis, 1).lines.size(), 2U);
}

TEST(ZorelCallbacks, MayUseTheHandle) {
    const api::Analysis analysis(smallRun().frame({{{9, 9}}}));
    std::vector<Result> results;
    std::function<void(std::int64_t)> read = [&](std::int64_t id) {
        analysis.readRaw(2, 0, 1);
        results.push_back(readList(analysis, {9 - id}));
    };
    const auto reading = [](std::int64_t id, std::uint32_t, const double*, const float*, void* context) {
        (*static_cast<std::function<void(std::int64_t)>*>(context))(id);
    };
    EXPECT_EQ(kova_read_zorel_msms_for_frame_v2(analysis.handle, 1, reading, &read), 1U);
    ASSERT_EQ(results.size(), 2U);
    EXPECT_EQ(results[0].lines, readList(analysis, {5}).lines);
    EXPECT_EQ(results[1].lines, readList(analysis, {4}).lines);
}

// A run of one frame, of which precursor 1 is measured in the first scans.
AnalysisBuilder oneFrame(AnalysisBuilder builder, std::int64_t scans = 1) {
    return builder.schema(1).precursor({.id = 1, .parent = 1}).zorelMsMs(1, 1, 0, scans);
}

TEST(ZorelHostileBlobs, ProfilesHaveALimit) {
    const std::tuple<std::uint32_t, std::uint32_t, std::string> cases[] = {
        {1U << 26, (1U << 26) - 100, ""},
        {1U << 26, (1U << 26) - 99, "67108865"},
        {0xFFFFFFFF, 0x80000000, "2147483748"},
        {0xFFFFFFFF, 0xFFFFFFFE, "4294967394"},
    };
    for (const auto& [samples, index, bins] : cases) {
        const api::Analysis analysis(
            oneFrame(AnalysisBuilder().digitizerSamples(samples).frame({{{5, 1}, {index, 1}}})));
        constexpr std::int64_t kIds[] = {1};
        std::vector<Line> spectra;
        const bool done = kova_read_zorel_msms_v2(analysis.handle, kIds, 1, storeLine, &spectra) == 1;
        EXPECT_EQ(done, bins.empty()) << index;
        EXPECT_TRUE(done ||
                    api::lastError() == "Profile of " + bins + " bins exceeds the maximum of 67108864 bins.");
    }
}

TEST(ZorelHostileBlobs, IndicesThatRunBackwardsAreDroppedBeyondTheLastOne) {
    // The scan ends at index 300, so the profile has 400 bins.
    const api::Analysis analysis(oneFrame(AnalysisBuilder().frame({{{1000, 5}, {300, 6}}})));
    std::vector<std::int32_t> expected(400);
    expected[300] = 6;
    EXPECT_EQ(readList(analysis, {1}).profiles.at(0).bins, expected);
}

TEST(ZorelHostileBlobs, FrameThatClaimsBillionsOfEmptyScans) {
    const auto block = analysis_writer::emptyFrameBlock(0xFFFFFFFF);
    const api::Analysis analysis(oneFrame(AnalysisBuilder().rawBlock(block), 0xFFFFFFFE));
    EXPECT_EQ(readList(analysis, {1}).profiles.at(0).bins, std::vector<std::int32_t>(100));
}

}  // namespace
