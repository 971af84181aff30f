#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "analysis-writer/frame_block.h"
#include "api/analysis.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/random.h"
#include "fixtures/temp_directory.h"

namespace {

using analysis_writer::Frame;
using fixtures::AnalysisBuilder;
using fixtures::TempDirectory;

const Frame kFrame = {{{10, 5}, {20, 7}, {21, 0}}, {}, {{0, 1}}, {}, {{399'999, 2'000'000'000}}};
constexpr std::uint32_t kScans = 5;

class ReadScans : public testing::TestWithParam<int> {
protected:
    AnalysisBuilder builder() const { return std::move(AnalysisBuilder().compression(GetParam())); }
    TempDirectory directory;
};

INSTANTIATE_TEST_SUITE_P(Compression, ReadScans, testing::Values(1, 2),
                         [](const auto& each) { return "Type" + std::to_string(each.param); });

TEST_P(ReadScans, EveryRangeHoldsExactlyItsPeaks) {
    const api::Analysis analysis(builder().frame(kFrame).write(directory.path()));
    ASSERT_TRUE(analysis) << api::lastError();
    for (std::uint32_t begin = 0; begin < kScans; ++begin) {
        for (std::uint32_t end = begin + 1; end <= kScans; ++end) {
            const Frame expected(kFrame.begin() + begin, kFrame.begin() + end);
            EXPECT_EQ(analysis.readRaw(1, begin, end).peaks(end - begin), expected) << begin << ' ' << end;
        }
    }
}

TEST_P(ReadScans, LayoutIsCountsThenIndicesThenIntensitiesPerScan) {
    const api::Analysis analysis(builder().frame({{{3, 30}, {4, 40}}, {{5, 50}}}).write(directory.path()));
    const std::vector<std::uint32_t> expected = {2, 1, 3, 4, 30, 40, 5, 50};
    EXPECT_EQ(analysis.readRaw(1, 0, 2).words, expected);
}

TEST_P(ReadScans, RangeWithoutPeaksIsOnlyCounts) {
    const api::Analysis analysis(builder().frame(Frame(7)).write(directory.path()));
    EXPECT_EQ(analysis.readRaw(1, 2, 6).words, std::vector<std::uint32_t>(4, 0));
}

TEST_P(ReadScans, BufferTooSmallByOneByteStaysUntouched) {
    const api::Analysis analysis(builder().frame(kFrame).write(directory.path()));
    const std::uint32_t needed = kova_read_scans_internal(analysis.handle, 1, 0, kScans, nullptr, 0);
    std::vector<std::uint8_t> buffer(needed + 1, 0x99);
    EXPECT_EQ(kova_read_scans_internal(analysis.handle, 1, 0, kScans, buffer.data() + 1, needed - 1), needed);
    EXPECT_EQ(buffer, std::vector<std::uint8_t>(needed + 1, 0x99));
    // An unaligned buffer of the right size is filled.
    EXPECT_EQ(kova_read_scans_internal(analysis.handle, 1, 0, kScans, buffer.data() + 1, needed), needed);
    EXPECT_EQ(buffer[1], 3);
    EXPECT_EQ(buffer[0], 0x99);
}

TEST_P(ReadScans, IndicesBeyondTheBinsAreDroppedWithoutGaps) {
    const Frame frame = {{{1, 11}, {100, 12}, {101, 13}}, {{99, 21}}, {{100, 31}}};
    const api::Analysis analysis(builder().digitizerSamples(100).frame(frame).write(directory.path()));
    const Frame expected = {{{1, 11}}, {{99, 21}}, {}};
    EXPECT_EQ(analysis.readRaw(1, 0, 3).peaks(3), expected);
    // A buffer that would hold all peaks takes the other path and must give the same.
    std::vector<std::uint32_t> words(64, 0x99999999U);
    const std::uint32_t size = kova_read_scans_internal(analysis.handle, 1, 0, 3, words.data(), 256);
    words.resize(size / 4);
    EXPECT_EQ(api::ScanResult({size, words}).peaks(3), expected);
}

TEST_P(ReadScans, ManyRandomFramesReadAlternately) {
    fixtures::Random random(7);
    std::vector<Frame> frames(6);
    AnalysisBuilder analysisBuilder = builder();
    for (Frame& frame : frames) {
        frame.resize(1 + random() % 40);
        for (auto& scan : frame) {
            std::uint32_t index = 0;
            for (std::size_t peaks = random() % 8 == 0 ? random() % 3000 : random() % 20; peaks > 0;
                 --peaks) {
                index += 1 + random() % 60;
                scan.push_back({index, random() >> (1 + random() % 31)});
            }
        }
        analysisBuilder.frame(frame);
    }
    const api::Analysis analysis(analysisBuilder.write(directory.path()));
    for (int i = 0; i < 200; ++i) {
        const std::size_t which = random() % frames.size();
        const auto scans = static_cast<std::uint32_t>(frames[which].size());
        const std::uint32_t begin = random() % scans;
        const std::uint32_t end = begin + 1 + random() % (scans - begin);
        const Frame expected(frames[which].begin() + begin, frames[which].begin() + end);
        ASSERT_EQ(analysis.readRaw(static_cast<std::int64_t>(which) + 1, begin, end).peaks(end - begin),
                  expected);
    }
}

struct RangeCase {
    std::int64_t frame;
    std::uint32_t begin;
    std::uint32_t end;
    const char* scanCompressed;
    const char* frameCompressed;
};

TEST_P(ReadScans, ImpossibleRangesFailWithTheirTexts) {
    const api::Analysis analysis(builder().frame(kFrame).frame({}).nullPosition().write(directory.path()));
    constexpr const char* kOrder = "scan_end must be > scan_begin";
    constexpr const char* kFrame99 = "CorruptFrameDataError for FrameId=99: Frame doesn't exist";
    constexpr const char* kTooMany = "Maximum decompressed frame size exceeded.";
    constexpr const char* kRange = "Scan number out of range.";
    const RangeCase cases[] = {
        {1, 3, 3, kOrder, kOrder},
        {1, 4, 3, kOrder, kOrder},
        {99, 0, 0, kOrder, kOrder},
        {99, 0, 1, kFrame99, kFrame99},
        {-1, 0, 1, "CorruptFrameDataError for FrameId=-1: Frame doesn't exist",
         "CorruptFrameDataError for FrameId=-1: Frame doesn't exist"},
        {1, 0, 6, kRange, "Scan number [5] out of range."},
        {1, 7, 9, kRange, "Scan number [7] out of range."},
        {1, 0, 0x3FFFFFFF, kRange, "Scan number [5] out of range."},
        {1, 0, 0x40000000, kTooMany, kTooMany},
        {1, 0, 0xFFFFFFFF, kTooMany, kTooMany},
        {1, 0xFFFFFFFE, 0xFFFFFFFF, kRange, "Scan number [4294967294] out of range."},
        {2, 0, 1, kRange, "Scan number [0] out of range."},
        {3, 0, 1, kRange, "Scan number [0] out of range."},
    };
    for (const RangeCase& c : cases) {
        EXPECT_EQ(analysis.errorOf(c.frame, c.begin, c.end),
                  GetParam() == 1 ? c.scanCompressed : c.frameCompressed)
            << c.frame << ' ' << c.begin << ' ' << c.end;
        EXPECT_EQ(analysis.errorOf(c.frame, c.begin, c.end),
                  GetParam() == 1 ? c.scanCompressed : c.frameCompressed);
    }
    EXPECT_EQ(analysis.readRaw(1, 0, kScans).peaks(kScans), kFrame);
}

struct ScaleCase {
    const char* name;
    int schemaMajor;
    double rampTime;
    double accumulationTime;
    std::vector<std::uint32_t> stored;
    std::vector<std::uint32_t> expected;
};

class Normalisation : public testing::TestWithParam<ScaleCase> {};

TEST_P(Normalisation, ScalesAsTheSchemaImplies) {
    const ScaleCase& c = GetParam();
    const TempDirectory directory;
    Frame frame(1);
    for (std::size_t i = 0; i < c.stored.size(); ++i) {
        frame[0].push_back({static_cast<std::uint32_t>(i), c.stored[i]});
    }
    fixtures::FrameSpec spec;
    spec.rampTime = c.rampTime;
    spec.accumulationTime = c.accumulationTime;
    const api::Analysis analysis(
        AnalysisBuilder().schema(c.schemaMajor).frame(frame, spec).write(directory.path()));
    ASSERT_TRUE(analysis) << api::lastError();
    const auto scaled = analysis.readNormalised(1, 0, 1).peaks(1);
    const auto raw = analysis.readRaw(1, 0, 1).peaks(1);
    EXPECT_EQ(raw, frame);
    ASSERT_EQ(scaled[0].size(), c.expected.size());
    for (std::size_t i = 0; i < c.expected.size(); ++i) {
        EXPECT_EQ(scaled[0][i].index, i);
        EXPECT_EQ(scaled[0][i].intensity, c.expected[i]) << c.stored[i];
    }
}

constexpr std::uint32_t kMax = 0xFFFFFFFF;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

INSTANTIATE_TEST_SUITE_P(
    Schemas, Normalisation,
    testing::Values(ScaleCase{"Schema1NotAtAll", 1, 100, 20, {0, 1, kMax}, {0, 1, kMax}},
                    ScaleCase{"Schema2DutyCycle", 2, 100, 200, {10, 1, 3, 0, kMax}, {5, 1, 2, 0, 0x80000000}},
                    ScaleCase{"Schema2Saturates",
                              2,
                              100,
                              20,
                              {1, 858'993'459, 858'993'460, kMax},
                              {5, 4'294'967'295, kMax, kMax}},
                    ScaleCase{"Schema3Per100ms", 3, 1, 30, {3, 7}, {10, 23}},
                    ScaleCase{"Schema2NoAccumulation", 2, 100, 0, {7, kMax}, {7, kMax}},
                    ScaleCase{"Schema3NoAccumulation", 3, 100, 0, {7, kMax}, {7, kMax}},
                    ScaleCase{"NegativeTimeGivesZero", 2, -100, 50, {0, 7, kMax}, {0, 0, 0}},
                    ScaleCase{"InfiniteFactor", 2, kInfinity, 50, {0, 1}, {0, kMax}},
                    ScaleCase{"InfiniteAccumulation", 3, 100, kInfinity, {7}, {0}},
                    ScaleCase{"NotANumber", 2, kInfinity, kInfinity, {0, 7}, {0, 0}}),
    [](const auto& each) { return each.param.name; });

TEST(ReadScansNulls, MissingTimesReadAsZeroAndMissingPositionAsTheSchemaSays) {
    const TempDirectory directory;
    const Frame frame = {{{1, 10}}};
    const api::Analysis analysis(AnalysisBuilder()
                                     .schema(2)
                                     .frame(frame)
                                     .frame(frame)
                                     .sql("UPDATE Frames SET RampTime=NULL WHERE Id=1")
                                     .sql("UPDATE Frames SET AccumulationTime=NULL WHERE Id=2")
                                     .write(directory.path()));
    EXPECT_EQ(analysis.readNormalised(1, 0, 1).peaks(1), (Frame{{{1, 0}}}));
    EXPECT_EQ(analysis.readNormalised(2, 0, 1).peaks(1), frame);

    const TempDirectory first;
    const analysis_writer::Bytes block = analysis_writer::frameBlock(frame);
    const api::Analysis schema1(
        AnalysisBuilder().schema(1).nullPosition().bytesAt(0, block).write(first.path()));
    EXPECT_EQ(schema1.readRaw(1, 0, 1).peaks(1), frame);
}

}  // namespace
