#include <limits>

#include <gtest/gtest.h>

#include "analysis-writer/frame_block.h"
#include "api/analysis.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/random.h"

namespace {

using analysis_writer::Frame;
using fixtures::AnalysisBuilder;

const Frame kExtremes = {{{10, 5}, {20, 7}, {21, 0}}, {}, {{0, 1}}, {}, {{399'999, 2'000'000'000}}};
constexpr std::uint32_t kExtremeScans = 5;

class ReadScans : public testing::TestWithParam<int> {
protected:
    AnalysisBuilder builder() const { return std::move(AnalysisBuilder().compression(GetParam())); }
};

INSTANTIATE_TEST_SUITE_P(Compression, ReadScans, testing::Values(1, 2),
                         [](const auto& each) { return "Type" + std::to_string(each.param); });

TEST_P(ReadScans, IndicesBeyondTheBinsAreDroppedWithoutGaps) {
    const Frame frame = {{{1, 11}, {100, 12}, {101, 13}}, {{99, 21}}, {{100, 31}}};
    const api::Analysis analysis(builder().digitizerSamples(100).frame(frame));
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
        frame.resize(1 + random.below(40));
        for (auto& scan : frame) {
            std::uint32_t index = 0;
            for (std::uint32_t peaks = random.below(random.below(8) == 0 ? 3000 : 20); peaks > 0; --peaks) {
                index += 1 + random.below(60);
                scan.push_back({index, random() >> (1 + random.below(31))});
            }
        }
        analysisBuilder.frame(frame);
    }
    const api::Analysis analysis(analysisBuilder);
    for (int i = 0; i < 200; ++i) {
        const std::uint32_t which = random.below(6);
        const auto scans = static_cast<std::uint32_t>(frames[which].size());
        const std::uint32_t begin = random.below(scans);
        const std::uint32_t end = begin + 1 + random.below(scans - begin);
        const Frame expected(frames[which].begin() + begin, frames[which].begin() + end);
        ASSERT_EQ(analysis.readRaw(which + 1, begin, end).peaks(end - begin), expected);
    }
}

TEST_P(ReadScans, ImpossibleRangesFailWithTheirTexts) {
    const api::Analysis analysis(builder().frame(kExtremes).frame({}).nullPosition());
    const std::string order = "scan_end must be > scan_begin";
    const std::string tooMany = "Maximum decompressed frame size exceeded.";
    const auto noFrame = [](const std::string& id) {
        return "CorruptFrameDataError for FrameId=" + id + ": Frame doesn't exist";
    };
    const auto outOfRange = [](const std::string& scan) {
        return GetParam() == 1 ? "Scan number out of range." : "Scan number [" + scan + "] out of range.";
    };
    const std::tuple<std::int64_t, std::uint32_t, std::uint32_t, std::string> cases[] = {
        {1, 3, 3, order},
        {1, 4, 3, order},
        {99, 0, 0, order},
        {99, 0, 1, noFrame("99")},
        {-1, 0, 1, noFrame("-1")},
        {1, 0, 6, outOfRange("5")},
        {1, 7, 9, outOfRange("7")},
        {1, 0, 0x3FFFFFFF, outOfRange("5")},
        {1, 0, 0x40000000, tooMany},
        {1, 0, 0xFFFFFFFF, tooMany},
        {1, 0xFFFFFFFE, 0xFFFFFFFF, outOfRange("4294967294")},
        {2, 0, 1, outOfRange("0")},
        {3, 0, 1, outOfRange("0")},
    };
    for (int attempt = 0; attempt < 2; ++attempt) {
        for (const auto& [frame, begin, end, text] : cases) {
            EXPECT_EQ(analysis.errorOf(frame, begin, end), text) << frame << ' ' << begin << ' ' << end;
        }
        EXPECT_EQ(analysis.readRaw(1, 0, kExtremeScans).peaks(kExtremeScans), kExtremes);
    }
}

TEST(Normalisation, ScalesAsTheSchemaImplies) {
    struct Case {
        const char* name;
        int schema;
        double rampTime;
        double accumulationTime;
        std::vector<std::uint32_t> stored;
        std::vector<std::uint32_t> expected;
    };
    constexpr std::uint32_t kMax = 0xFFFFFFFF;
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const Case cases[] = {
        {"Schema1NotAtAll", 1, 100, 20, {0, 1, kMax}, {0, 1, kMax}},
        {"Schema2DutyCycle", 2, 100, 200, {10, 1, 3, 0, kMax}, {5, 1, 2, 0, 0x80000000}},
        {"Schema2Saturates", 2, 100, 20, {1, 858'993'459, 858'993'460}, {5, 4'294'967'295, kMax}},
        {"Schema3Per100ms", 3, 1, 30, {3, 7}, {10, 23}},
        {"Schema2NoAccumulation", 2, 100, 0, {7, kMax}, {7, kMax}},
        {"Schema3NoAccumulation", 3, 100, 0, {7, kMax}, {7, kMax}},
        {"NegativeTimeGivesZero", 2, -100, 50, {0, 7, kMax}, {0, 0, 0}},
        {"InfiniteFactor", 2, kInfinity, 50, {0, 1}, {0, kMax}},
        {"InfiniteAccumulation", 3, 100, kInfinity, {7}, {0}},
        {"NotANumber", 2, kInfinity, kInfinity, {0, 7}, {0, 0}},
    };
    const auto frameOf = [](const std::vector<std::uint32_t>& intensities) {
        Frame frame(1);
        for (const std::uint32_t intensity : intensities) {
            frame[0].push_back({static_cast<std::uint32_t>(frame[0].size()), intensity});
        }
        return frame;
    };
    for (const Case& c : cases) {
        const fixtures::FrameSpec times = {.accumulationTime = c.accumulationTime, .rampTime = c.rampTime};
        const api::Analysis analysis(AnalysisBuilder().schema(c.schema).frame(frameOf(c.stored), times));
        EXPECT_EQ(analysis.readRaw(1, 0, 1).peaks(1), frameOf(c.stored)) << c.name;
        EXPECT_EQ(analysis.readNormalised(1, 0, 1).peaks(1), frameOf(c.expected)) << c.name;
    }
}

TEST(ReadScansNulls, MissingTimesReadAsZeroAndMissingPositionAsTheSchemaSays) {
    const Frame frame = {{{1, 10}}};
    const api::Analysis analysis(AnalysisBuilder()
                                     .schema(2)
                                     .frame(frame)
                                     .frame(frame)
                                     .sql("UPDATE Frames SET RampTime=NULL WHERE Id=1")
                                     .sql("UPDATE Frames SET AccumulationTime=NULL WHERE Id=2"));
    EXPECT_EQ(analysis.readNormalised(1, 0, 1).peaks(1), (Frame{{{1, 0}}}));
    EXPECT_EQ(analysis.readNormalised(2, 0, 1).peaks(1), frame);

    const analysis_writer::Bytes block = analysis_writer::frameBlock(frame);
    const api::Analysis schema1(AnalysisBuilder().schema(1).nullPosition().bytesAt(0, block));
    EXPECT_EQ(schema1.readRaw(1, 0, 1).peaks(1), frame);
}

}  // namespace
