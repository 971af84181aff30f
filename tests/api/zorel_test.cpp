#include <algorithm>
#include <limits>
#include <map>
#include <stdexcept>
#include <tuple>

#include <gtest/gtest.h>

#include "analysis-writer/frame_block.h"
#include "api/analysis.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/random.h"
#include "fixtures/temp_directory.h"
#include "reference/plain_peak_finder.h"

namespace {

using fixtures::AnalysisBuilder;
using fixtures::Frame;
using fixtures::TempDirectory;

struct Line {
    std::int64_t id;
    std::vector<double> mz;
    std::vector<float> intensities;

    friend bool operator==(const Line&, const Line&) = default;
};

struct Profile {
    std::int64_t id;
    std::vector<std::int32_t> bins;

    friend bool operator==(const Profile&, const Profile&) = default;
};

std::ostream& operator<<(std::ostream& out, const Line& line) {
    return out << "precursor " << line.id << " with " << line.mz.size() << " peaks";
}

std::ostream& operator<<(std::ostream& out, const Profile& profile) {
    return out << "precursor " << profile.id << " with " << profile.bins.size() << " bins";
}

// Where the callbacks without context store what they get.
std::vector<Line> lines;
std::vector<Profile> profiles;

void storeLine(std::int64_t id, std::uint32_t count, double* mz, float* intensities) {
    lines.push_back({id, {mz, mz + count}, {intensities, intensities + count}});
}
void storeLineIn(std::int64_t id, std::uint32_t count, const double* mz, const float* intensities,
                 void* context) {
    static_cast<std::vector<Line>*>(context)->push_back(
        {id, {mz, mz + count}, {intensities, intensities + count}});
}
void storeProfile(std::int64_t id, std::uint32_t count, std::int32_t* bins) {
    profiles.push_back({id, {bins, bins + count}});
}
void storeProfileIn(std::int64_t id, std::uint32_t count, const std::int32_t* bins, void* context) {
    static_cast<std::vector<Profile>*>(context)->push_back({id, {bins, bins + count}});
}

struct Result {
    std::string error;  // empty when the calls succeeded
    std::vector<Line> lines;
    std::vector<Profile> profiles;
};

// Calls all four functions for a selection; both versions must agree.
template <class... Selection>
Result readBy(const api::Analysis& analysis, auto v1, auto v2, auto profileV1, auto profileV2,
              Selection... selection) {
    Result result;
    lines.clear();
    profiles.clear();
    const std::uint32_t done = v2(analysis.handle, selection..., storeLineIn, &result.lines);
    result.error = done == 1 ? "" : api::lastError();
    EXPECT_EQ(v1(analysis.handle, selection..., storeLine), done);
    EXPECT_EQ(lines, result.lines);
    EXPECT_EQ(profileV2(analysis.handle, selection..., storeProfileIn, &result.profiles), done);
    EXPECT_EQ(profileV1(analysis.handle, selection..., storeProfile), done);
    EXPECT_EQ(profiles, result.profiles);
    EXPECT_TRUE(done == 1 || api::lastError() == result.error);
    return result;
}

Result readList(const api::Analysis& analysis, const std::vector<std::int64_t>& ids) {
    return readBy(analysis, kova_read_zorel_msms, kova_read_zorel_msms_v2, kova_read_zorel_profile_msms,
                  kova_read_zorel_profile_msms_v2, ids.data(), static_cast<std::uint32_t>(ids.size()));
}

Result readFrame(const api::Analysis& analysis, std::int64_t frame) {
    return readBy(analysis, kova_read_zorel_msms_for_frame, kova_read_zorel_msms_for_frame_v2,
                  kova_read_zorel_profile_msms_for_frame, kova_read_zorel_profile_msms_for_frame_v2, frame);
}

constexpr std::uint32_t kBins = 400'000;

// A run of two MS1 frames, 1 and 2 with calibrations of their own, MS/MS frames from 3 on, and what must come
// out of it.
class ZorelRun {
public:
    explicit ZorelRun(int compression) { builder.compression(compression).schema(1).digitizerSamples(kBins); }

    // Rows go to the table in the order of the calls.
    void measure(std::int64_t precursor, std::int64_t parent, std::int64_t frame, std::uint32_t begin,
                 std::uint32_t end) {
        if (!parents.contains(precursor)) {
            builder.precursor({.id = precursor, .parent = parent, .scanNumber = begin + 0.5});
            parents[precursor] = parent;
        }
        builder.zorelMsMs(frame, precursor, begin, end);
        rows.push_back({parent, frame, precursor, begin, end});
    }

    void setFrame(std::int64_t id, Frame frame) { frames[id] = std::move(frame); }

    const std::filesystem::path& write(const std::filesystem::path& directory) {
        builder.frame({}, {.id = 1}).frame({}, {.id = 2, .mzCalibration = 2});
        builder.mzCalibration({.id = 1}).mzCalibration(
            {.id = 2, .modelType = 1, .digitizerTimebase = 0.25, .digitizerDelay = 21000.0});
        for (const auto& [id, frame] : frames) {
            builder.frame(frame, {.id = id, .mzCalibration = 2, .msMsType = 8});
        }
        return builder.write(directory);
    }

    Result expected(const api::Analysis& analysis, const std::vector<std::int64_t>& ids) const {
        std::vector<Row> sorted = rows;
        std::stable_sort(sorted.begin(), sorted.end(), [](const Row& a, const Row& b) {
            return std::tie(a.parent, a.frame, a.precursor) < std::tie(b.parent, b.frame, b.precursor);
        });
        std::stable_sort(sorted.begin(), sorted.end(),
                         [](const Row& a, const Row& b) { return a.frame < b.frame; });
        std::map<std::int64_t, std::vector<int>> sums;
        Result result;
        for (std::size_t i = 0; i < sorted.size(); ++i) {
            const Row& row = sorted[i];
            if (std::find(ids.begin(), ids.end(), row.precursor) == ids.end()) {
                continue;
            }
            add(sums[row.precursor], row);
            const auto isSame = [&](const Row& later) { return later.precursor == row.precursor; };
            if (std::none_of(sorted.begin() + static_cast<std::ptrdiff_t>(i) + 1, sorted.end(), isSame)) {
                emit(analysis, row, sums[row.precursor], result);
            }
        }
        return result;
    }

    AnalysisBuilder builder;

private:
    struct Row {
        std::int64_t parent;
        std::int64_t frame;
        std::int64_t precursor;
        std::uint32_t begin;
        std::uint32_t end;
    };

    void add(std::vector<int>& profile, const Row& row) const {
        std::size_t bins = std::max<std::size_t>(profile.size(), 100);
        std::vector<fixtures::Peak> peaks;
        for (std::uint32_t scan = row.begin; scan < row.end; ++scan) {
            fixtures::Scan kept = frames.at(row.frame).at(scan);
            std::erase_if(kept, [](const fixtures::Peak& peak) { return peak.index >= kBins; });
            bins = kept.empty() ? bins : std::max<std::size_t>(bins, kept.back().index + 100);
            peaks.insert(peaks.end(), kept.begin(), kept.end());
        }
        profile.resize(bins);
        for (const fixtures::Peak& peak : peaks) {
            profile[peak.index] =
                static_cast<int>(static_cast<std::uint32_t>(profile[peak.index]) + peak.intensity);
        }
    }

    static void emit(const api::Analysis& analysis, const Row& row, const std::vector<int>& profile,
                     Result& result) {
        const reference::WidthModel model = row.parent == 1 ? reference::WidthModel{300, 24000, 0.2, 15000}
                                                            : reference::WidthModel{300, 21000, 0.25, 15000};
        reference::Peaks peaks = reference::findPeaks(profile, model);
        Line line{row.precursor, std::vector<double>(peaks.positions.size()), peaks.intensities};
        EXPECT_EQ(kova_index_to_mz(analysis.handle, row.parent, peaks.positions.data(), line.mz.data(),
                                   static_cast<std::uint32_t>(line.mz.size())),
                  1U);
        result.lines.push_back(line);
        result.profiles.push_back({row.precursor, profile});
    }

    std::vector<Row> rows;
    std::map<std::int64_t, std::int64_t> parents;
    std::map<std::int64_t, Frame> frames;
};

Frame randomFrame(fixtures::Random& random, std::size_t scans) {
    Frame frame(scans);
    const bool isHuge = random.below(5) == 0;
    for (fixtures::Scan& scan : frame) {
        std::uint32_t index = random.below(400);
        for (std::uint32_t peaks = random.below(60); peaks > 0; --peaks) {
            index += random.below(3) == 0 ? 1 + random.below(20'000) : 1 + random.below(3);
            scan.push_back({index, isHuge ? random() >> 1 : 1 + random.below(1000)});
        }
    }
    return frame;
}

class ZorelMsMs : public testing::TestWithParam<int> {
protected:
    TempDirectory directory;
};

INSTANTIATE_TEST_SUITE_P(Compression, ZorelMsMs, testing::Values(1, 2),
                         [](const auto& each) { return "Type" + std::to_string(each.param); });

TEST_P(ZorelMsMs, SpectraEqualThePlainFormInTheOrderOfTheirLastFrames) {
    constexpr std::uint32_t kScans = 40;
    fixtures::Random random(17);
    ZorelRun run(GetParam());
    std::vector<std::int64_t> all = {77};  // has no rows
    for (std::int64_t frame = 3; frame < 15; ++frame) {
        run.setFrame(frame, randomFrame(random, kScans));
    }
    for (std::int64_t precursor = 30; precursor > 0; --precursor) {
        const std::uint32_t begin = random.below(kScans);
        const std::uint32_t end = begin + random.below(kScans + 1 - begin);  // some are empty
        const std::int64_t last = 4 + random.below(12);
        for (std::int64_t frame = 3 + random.below(2); frame < last; frame += 1 + random.below(3)) {
            run.measure(precursor, 1 + precursor % 2, frame, begin, end);
        }
        all.push_back(precursor);
    }
    const api::Analysis analysis(run.write(directory.path()));
    const auto check = [&](const Result& result, const std::vector<std::int64_t>& ids) {
        const Result expected = run.expected(analysis, ids);
        EXPECT_EQ(result.error, "");
        EXPECT_EQ(result.lines, expected.lines);
        EXPECT_EQ(result.profiles, expected.profiles);
    };
    check(readList(analysis, all), all);
    check(readList(analysis, {5, 5, 28, 11}), {5, 28, 11});
    check(readList(analysis, {}), {});
    std::vector<std::int64_t> ofFrame2;
    std::copy_if(all.begin(), all.end(), std::back_inserter(ofFrame2),
                 [](std::int64_t id) { return id < 77 && id % 2 == 1; });
    check(readFrame(analysis, 2), ofFrame2);
    check(readFrame(analysis, 3), {});
    check(readFrame(analysis, -9), {});
}

TEST_P(ZorelMsMs, ProfilesReachHundredBinsBeyondTheLastPeak) {
    ZorelRun run(GetParam());
    // Scans: nothing, two peaks, one at the last bin, only one that has no bin.
    run.setFrame(3, {{}, {{7, 1}, {500, 2}}, {{kBins - 1, 3}}, {{kBins, 4}}});
    run.setFrame(4, {{{9, 1}}, {{9, 1}}, {}, {}});
    run.measure(1, 1, 3, 0, 1);
    run.measure(2, 1, 3, 0, 2);
    run.measure(3, 1, 3, 0, 4);
    run.measure(4, 1, 3, 3, 4);
    run.measure(5, 1, 3, 2, 1);
    run.measure(6, 1, 3, 1, 2);
    run.measure(6, 1, 4, 1, 2);
    run.measure(7, 1, 4, 0, 1);
    run.measure(7, 1, 4, 0, 1);
    const api::Analysis analysis(run.write(directory.path()));
    const Result result = readList(analysis, {1, 2, 3, 4, 5, 6, 7});
    std::vector<std::size_t> bins;
    for (const Profile& profile : result.profiles) {
        bins.push_back(profile.bins.size());
    }
    EXPECT_EQ(bins, (std::vector<std::size_t>{100, 600, kBins + 99, 100, 100, 600, 109}));
    EXPECT_EQ(result.profiles, run.expected(analysis, {1, 2, 3, 4, 5, 6, 7}).profiles);
    EXPECT_EQ(result.profiles.back().bins[9], 2) << "listed twice for one frame, so added twice";
}

TEST_P(ZorelMsMs, IntensitiesAreNormalisedAsByReadingScans) {
    for (const auto& [schema, expected] : {std::pair(1, 6), std::pair(2, 3), std::pair(3, 2)}) {
        const TempDirectory own;
        const api::Analysis analysis(AnalysisBuilder()
                                         .compression(GetParam())
                                         .schema(schema)
                                         .frame({{{50, 6}}}, {.accumulationTime = 300.0, .rampTime = 150.0})
                                         .precursor({.id = 1, .parent = 1})
                                         .zorelMsMs(1, 1, 0, 1)
                                         .write(own.path()));
        EXPECT_EQ(readList(analysis, {1}).profiles.at(0).bins.at(50), expected) << schema;
    }
}

// One frame of three scans, its own parent, in which precursors 4 and 5 are measured.
AnalysisBuilder smallRun(int compression = 2) {
    AnalysisBuilder builder;
    builder.compression(compression).schema(1).frame({{{2000, 5}}, {{3000, 7}, {3001, 2}}, {{4000, 3}}});
    builder.precursor({.id = 4, .parent = 1, .scanNumber = 0.5})
        .precursor({.id = 5, .parent = 1, .scanNumber = 1.5});
    builder.zorelMsMs(1, 4, 0, 2).zorelMsMs(1, 5, 1, 3);
    return builder;
}

struct FailureCase {
    const char* name;
    std::vector<const char*> sql;
    const char* list;
    const char* frame;
    std::size_t spectraBefore = 0;
};

class ZorelFailure : public testing::TestWithParam<FailureCase> {};

TEST_P(ZorelFailure, HasItsText) {
    const FailureCase& c = GetParam();
    const TempDirectory directory;
    AnalysisBuilder builder = smallRun();
    for (const char* const statement : c.sql) {
        builder.sql(statement);
    }
    const api::Analysis analysis(builder.write(directory.path()));
    const Result list = readList(analysis, {4, 5});
    EXPECT_EQ(list.error, c.list);
    EXPECT_EQ(list.lines.size(), c.spectraBefore);
    EXPECT_EQ(readFrame(analysis, 1).error, c.frame);
}

constexpr const char* kMismatch =
    "Invalid data, precursor scan ranges have to be identical for every frame, mismatch for precursor 5";
constexpr const char* kNoFrame = "Frame 77 does not exists or is missing MzCalibration/Polarity";

INSTANTIATE_TEST_SUITE_P(
    Analyses, ZorelFailure,
    testing::Values(
        FailureCase{"None", {}, "", "", 2},
        FailureCase{"NoPrecursorTable",
                    {"DROP TABLE Precursors"},
                    "No Precursor table found. This is not a ZOREL analysis",
                    "no such table: Precursors"},
        FailureCase{"NoMsMsTable",
                    {"DROP TABLE ZorelFrameMsMsInfo"},
                    "no such table: ZorelFrameMsMsInfo",
                    "no such table: ZorelFrameMsMsInfo"},
        FailureCase{"OtherBegin", {"INSERT INTO ZorelFrameMsMsInfo VALUES (2,5,0,3)"}, kMismatch, kMismatch},
        FailureCase{"OtherEnd", {"INSERT INTO ZorelFrameMsMsInfo VALUES (2,5,1,2)"}, kMismatch, kMismatch},
        FailureCase{"NoCalibrationRow",
                    {"DELETE FROM MzCalibration"},
                    "No m/z trafo available.",
                    "No m/z trafo available."},
        FailureCase{"NoParentFrame", {"UPDATE Precursors SET Parent=77"}, kNoFrame, ""},
        FailureCase{"ScanBeyondTheFrame",
                    {"UPDATE ZorelFrameMsMsInfo SET ScanNumEnd=4 WHERE Precursor=5"},
                    "Scan number [3] out of range.",
                    "Scan number [3] out of range.",
                    1},
        FailureCase{"NoMsMsFrame",
                    {"UPDATE ZorelFrameMsMsInfo SET Frame=9 WHERE Precursor=5"},
                    "CorruptFrameDataError for FrameId=9: Frame doesn't exist",
                    "CorruptFrameDataError for FrameId=9: Frame doesn't exist",
                    1}),
    [](const auto& each) { return each.param.name; });

TEST(ZorelFailures, WidthsUsedUpConcernsLinesOnly) {
    // The 3101 bins of precursor 4 and their reserve are reached with the last width but one.
    const TempDirectory directory;
    const api::Analysis analysis(
        smallRun()
            .sql("UPDATE MzCalibration SET DigitizerTimebase=1, DigitizerDelay=0, C0=8100.5-199*30000")
            .write(directory.path()));
    EXPECT_EQ(kova_read_zorel_msms_for_frame(analysis.handle, 1, storeLine), 0U);
    EXPECT_EQ(api::lastError(), "setWidths() reached maximum width.");
    EXPECT_EQ(kova_read_zorel_profile_msms_for_frame(analysis.handle, 1, storeProfile), 1U);
}

TEST(ZorelFailures, ScansBeyondTheFrameOfTheOtherCompression) {
    const TempDirectory directory;
    const api::Analysis analysis(
        smallRun(1).sql("UPDATE ZorelFrameMsMsInfo SET ScanNumEnd=4").write(directory.path()));
    EXPECT_EQ(readList(analysis, {4}).error, "Scan number out of range.");
}

TEST(ZorelArguments, AreCheckedBySecondVersionsOnly) {
    const TempDirectory directory;
    const api::Analysis analysis(smallRun().write(directory.path()));
    constexpr std::int64_t kIds[] = {4};
    constexpr const char* kNoIds = "expected non-null 'precursors' pointer";
    constexpr const char* kNoCallback = "expected non-null callback";
    EXPECT_EQ(kova_read_zorel_msms_v2(analysis.handle, nullptr, 1, nullptr, nullptr), 0U);
    EXPECT_EQ(api::lastError(), kNoIds);
    EXPECT_EQ(kova_read_zorel_profile_msms_v2(analysis.handle, nullptr, 1, storeProfileIn, nullptr), 0U);
    EXPECT_EQ(api::lastError(), kNoIds);
    EXPECT_EQ(kova_read_zorel_msms_v2(analysis.handle, nullptr, 0, nullptr, nullptr), 0U);
    EXPECT_EQ(api::lastError(), kNoCallback);
    EXPECT_EQ(kova_read_zorel_profile_msms_v2(analysis.handle, kIds, 1, nullptr, nullptr), 0U);
    EXPECT_EQ(api::lastError(), kNoCallback);
    EXPECT_EQ(kova_read_zorel_msms_v2(analysis.handle, nullptr, 0, storeLineIn, nullptr), 1U);
    EXPECT_EQ(kova_read_zorel_msms(analysis.handle, nullptr, 0, nullptr), 1U);
    const TempDirectory bare;
    const api::Analysis noPrecursors(AnalysisBuilder().withoutTable("Precursors").write(bare.path()));
    EXPECT_EQ(kova_read_zorel_msms_for_frame_v2(noPrecursors.handle, 1, nullptr, nullptr), 0U);
    EXPECT_EQ(api::lastError(), kNoCallback);
    EXPECT_EQ(kova_read_zorel_profile_msms_for_frame_v2(noPrecursors.handle, 1, nullptr, nullptr), 0U);
    EXPECT_EQ(api::lastError(), kNoCallback);
}

TEST(ZorelCallbacks, WhatTheyThrowEndsTheCallAndLeavesTheHandleUsable) {
    const TempDirectory directory;
    const api::Analysis analysis(smallRun().write(directory.path()));
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
    const TempDirectory directory;
    const api::Analysis analysis(smallRun().frame({{{9, 9}}}).write(directory.path()));
    struct Context {
        const api::Analysis& analysis;
        std::vector<Result> results;
    } context{analysis, {}};
    const auto reading = [](std::int64_t id, std::uint32_t, const double*, const float*, void* pointer) {
        auto& self = *static_cast<Context*>(pointer);
        self.analysis.readRaw(2, 0, 1);
        self.results.push_back(readList(self.analysis, {9 - id}));
    };
    EXPECT_EQ(kova_read_zorel_msms_for_frame_v2(analysis.handle, 1, reading, &context), 1U);
    ASSERT_EQ(context.results.size(), 2U);
    EXPECT_EQ(context.results[0].lines, readList(analysis, {5}).lines);
    EXPECT_EQ(context.results[1].lines, readList(analysis, {4}).lines);
}

// Nothing in the tables may lead to more than an error or odd spectra.
TEST(ZorelHostileTables, EndQuickly) {
    const char* const statements[] = {
        "UPDATE ZorelFrameMsMsInfo SET ScanNumBegin=NULL, ScanNumEnd=NULL",
        "UPDATE ZorelFrameMsMsInfo SET ScanNumBegin='many', ScanNumEnd=x'00'",
        "UPDATE ZorelFrameMsMsInfo SET ScanNumBegin=-1",
        "UPDATE ZorelFrameMsMsInfo SET ScanNumBegin=-9223372036854775808, ScanNumEnd=9223372036854775807",
        "UPDATE ZorelFrameMsMsInfo SET ScanNumEnd=4294967295",
        "UPDATE ZorelFrameMsMsInfo SET ScanNumBegin=4294967294, ScanNumEnd=4294967295",
        "UPDATE ZorelFrameMsMsInfo SET ScanNumBegin=4294967296, ScanNumEnd=4294967297",
        "UPDATE ZorelFrameMsMsInfo SET ScanNumBegin=9e99, ScanNumEnd=-9e99",
        "UPDATE ZorelFrameMsMsInfo SET Frame=NULL",
        "UPDATE ZorelFrameMsMsInfo SET Frame=9223372036854775807",
        "UPDATE ZorelFrameMsMsInfo SET Frame='x'",
        "UPDATE Precursors SET Parent=NULL, ScanNumber='nan'",
        "INSERT INTO ZorelFrameMsMsInfo SELECT Frame, Precursor, ScanNumBegin, ScanNumEnd FROM "
        "ZorelFrameMsMsInfo",
        "ALTER TABLE Precursors RENAME TO P; CREATE VIEW Precursors AS SELECT * FROM P UNION ALL SELECT Id, "
        "1, 3 FROM P",
        "UPDATE MzCalibration SET DigitizerTimebase=0",
        "UPDATE MzCalibration SET DigitizerTimebase=NULL, DigitizerDelay=NULL",
        "UPDATE MzCalibration SET DigitizerTimebase=1e-300",
        "UPDATE MzCalibration SET DigitizerTimebase=9e999, C0=9e999",
        "UPDATE MzCalibration SET DigitizerTimebase=-0.2",
        "UPDATE MzCalibration SET DigitizerDelay=-1e300",
        "UPDATE MzCalibration SET DigitizerDelay=1e300",
        "UPDATE MzCalibration SET DigitizerTimebase=1e300",
        "UPDATE MzCalibration SET DigitizerTimebase=5000000",
        "UPDATE MzCalibration SET C0='x', C1=0",
        "UPDATE MzCalibration SET C0=-9e999",
    };
    for (const char* const statement : statements) {
        for (const int compression : {1, 2}) {
            const TempDirectory directory;
            const api::Analysis analysis(smallRun(compression).sql(statement).write(directory.path()));
            ASSERT_TRUE(analysis) << statement;
            for (const Result& result : {readList(analysis, {4, 5}), readFrame(analysis, 1)}) {
                EXPECT_TRUE(result.error.empty() || result.lines.size() < 2) << statement;
            }
        }
    }
}

TEST(ZorelHostileTables, NoTimeBaseGivesNoPeaks) {
    const TempDirectory directory;
    const api::Analysis analysis(
        smallRun().sql("UPDATE MzCalibration SET DigitizerTimebase=0").write(directory.path()));
    const Result result = readList(analysis, {4});
    EXPECT_EQ(result.error, "");
    ASSERT_EQ(result.lines.size(), 1U);
    EXPECT_TRUE(result.lines[0].mz.empty());
}

struct LengthCase {
    std::uint32_t samples;
    std::uint32_t index;
    const char* error;
};

TEST(ZorelHostileBlobs, ProfilesHaveALimit) {
    const LengthCase cases[] = {
        {1U << 26, (1U << 26) - 101, ""},
        {1U << 26, (1U << 26) - 100, ""},
        {1U << 26, (1U << 26) - 99, "Profile of 67108865 bins exceeds the maximum of 67108864 bins."},
        {0xFFFFFFFF, 0x80000000, "Profile of 2147483748 bins exceeds the maximum of 67108864 bins."},
        {0xFFFFFFFF, 0xFFFFFFFE, "Profile of 4294967394 bins exceeds the maximum of 67108864 bins."},
    };
    for (const LengthCase& c : cases) {
        const TempDirectory directory;
        const api::Analysis analysis(AnalysisBuilder()
                                         .schema(1)
                                         .digitizerSamples(c.samples)
                                         .frame({{{5, 1}, {c.index, 1}}})
                                         .precursor({.id = 1, .parent = 1})
                                         .zorelMsMs(1, 1, 0, 1)
                                         .write(directory.path()));
        constexpr std::int64_t kIds[] = {1};
        std::vector<Line> spectra;
        const std::uint32_t done = kova_read_zorel_msms_v2(analysis.handle, kIds, 1, storeLineIn, &spectra);
        EXPECT_EQ(done == 1 ? "" : api::lastError(), c.error) << c.index;
    }
}

TEST(ZorelHostileBlobs, IndicesThatRunBackwardsAreDroppedBeyondTheLastOne) {
    // The scan ends at index 300, so the profile has 400 bins.
    const TempDirectory directory;
    const api::Analysis analysis(AnalysisBuilder()
                                     .schema(1)
                                     .frame({{{1000, 5}, {300, 6}}})
                                     .precursor({.id = 1, .parent = 1})
                                     .zorelMsMs(1, 1, 0, 1)
                                     .write(directory.path()));
    const Result result = readList(analysis, {1});
    ASSERT_EQ(result.error, "");
    std::vector<std::int32_t> expected(400);
    expected[300] = 6;
    EXPECT_EQ(result.profiles.at(0).bins, expected);
}

TEST(ZorelHostileBlobs, FrameThatClaimsBillionsOfEmptyScans) {
    const TempDirectory directory;
    const api::Analysis analysis(AnalysisBuilder()
                                     .schema(1)
                                     .rawBlock(analysis_writer::emptyFrameBlock(0xFFFFFFFF))
                                     .precursor({.id = 1, .parent = 1})
                                     .zorelMsMs(1, 1, 0, 0xFFFFFFFE)
                                     .write(directory.path()));
    const Result result = readList(analysis, {1});
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.profiles.at(0).bins, std::vector<std::int32_t>(100));
}

}  // namespace
