#include "process-frames/new_sumpeakfinder.h"

#include <stdexcept>

#include <gtest/gtest.h>

namespace {

using lumo::algorithm::PeakSink;
using lumo::algorithm::WidthTable;

struct Found {
    std::vector<double> positions;
    std::vector<float> intensities;
    std::vector<float> areas;

    friend bool operator==(const Found&, const Found&) = default;
};

std::ostream& operator<<(std::ostream& out, const Found& found) {
    for (std::size_t i = 0; i < found.positions.size(); ++i) {
        out << '(' << found.positions[i] << ' ' << found.intensities[i] << ' ' << found.areas[i] << ')';
    }
    return out;
}

// One segment of the given width over everything: narrower ones end in front of the first bin.
WidthTable oneWidth(unsigned width) {
    WidthTable table(-1e7 * (width - 1), 0, 1, 5e6);
    table.setWidths(1000);
    return table;
}

struct MaximaCase {
    const char* name;
    std::vector<int> y;
    std::vector<double> differences;
    unsigned width;
    std::size_t shift;
    std::size_t offset;
    float threshold;
    Found expected;
};

class LocalMaxima : public testing::TestWithParam<MaximaCase> {};

// Areas are ten times y, so that it shows which entries were compared.
TEST_P(LocalMaxima, LieBetweenTheLastRiseAndTheFirstFall) {
    const MaximaCase& c = GetParam();
    std::vector<double> areas;
    for (const int value : c.y) {
        areas.push_back(10.0 * value);
    }
    Found found;
    {
        PeakSink sink(c.threshold, found.positions, found.intensities, found.areas);
        localMaxima(c.y, c.y.size(), c.differences, areas, oneWidth(c.width), c.shift, c.offset, sink);
    }
    EXPECT_EQ(found, c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Positions, LocalMaxima,
    testing::Values(
        MaximaCase{"Empty", {}, {}, 3, 0, 0, 0, {}},
        MaximaCase{"FallFollowsRise", {0, 5, 9, 7, 0}, {0, 3, -1, 0, 0}, 3, 0, 0, 0, {{2.25}, {9}, {90}}},
        MaximaCase{"OneFlatBinBetween", {0, 5, 9, 7, 0}, {0, 1, 0, -3, 0}, 3, 0, 0, 0, {{2.0}, {9}, {90}}},
        MaximaCase{"FlatRunPutsItInTheMiddleAndOneOn",
                   {0, 1, 2, 3, 4, 5, 6, 0},
                   {0, 1, 0, 0, 0, 0, -1, 0},
                   3,
                   0,
                   0,
                   0,
                   {{4.0}, {5}, {50}}},
        MaximaCase{
            "OnlyTheLastRiseCounts", {0, 5, 9, 7, 0}, {9, 1, -1, -5, 0}, 3, 0, 0, 0, {{2.0}, {9}, {90}}},
        MaximaCase{"FallBeforeRiseIsNone", {0, 5, 9, 7, 0}, {-1, -1, 0, 1, 1}, 3, 0, 0, 0, {}},
        MaximaCase{"SecondFallNeedsANewRise",
                   {4, 3, 2, 8, 1, 0},
                   {1, -1, -1, 1, -1, -1},
                   3,
                   0,
                   0,
                   0,
                   {{1.0, 4.0}, {4, 8}, {40, 80}}},
        MaximaCase{
            "WidthOneLooksAtTwoBins", {9, 2, 3, 9, 9}, {0, 1, -1, 0, 0}, 1, 0, 0, 0, {{2.0}, {9}, {90}}},
        MaximaCase{"WindowEndsWithTheData", {0, 5, 9}, {0, 1, -1}, 1, 0, 0, 0, {{2.0}, {9}, {90}}},
        MaximaCase{"ZeroIsNotAboveTheThreshold", {0, 0, 0, 0, 0}, {0, 1, -1, 0, 0}, 3, 0, 0, 0, {}},
        MaximaCase{"ThresholdIsStrict",
                   {4, 9, 2, 4, 2, 7, 1},
                   {1, -1, 0, 0, 1, -1, 0},
                   3,
                   0,
                   0,
                   7,
                   {{1.0}, {9}, {90}}},
        MaximaCase{"PaddingAndOffset",
                   {0, 0, 5, 9, 7, 0, 0},
                   {0, 0, 1, -1, 0, 0, 0},
                   3,
                   2,
                   100,
                   0,
                   {{101.0}, {9}, {90}}},
        MaximaCase{"InFrontOfTheData",
                   {0, 0, 0, 5, 9, 0, 0, 0},
                   {1, -1, 0, 0, 0, 0, 0, 0},
                   3,
                   3,
                   0,
                   -1,
                   {{-2.0}, {0}, {0}}},
        MaximaCase{"OneBinIsItsOwnPeak", {0, 0, 5, 0, 0}, {}, 3, 2, 8, 0, {{8.0}, {5}, {5}}},
        MaximaCase{"OneBinAtTheThreshold", {5}, {}, 3, 0, 0, 5, {}},
        MaximaCase{"NothingButPadding", {1, 2, 3, 4}, {1, -1, 1, -1}, 3, 3, 0, 0, {}}),
    [](const auto& each) { return each.param.name; });

struct Smoothed {
    std::vector<double> cumulative;
    std::vector<double> differences;
    std::vector<double> areas;
};

// Into memory that an earlier, longer profile has left full.
Smoothed smoothed(const std::vector<int>& y, const WidthTable& widths, std::size_t offset = 0) {
    Smoothed result{std::vector<double>(y.size() + 4, 77.0), std::vector<double>(y.size() + 4, 77.0),
                    std::vector<double>(y.size() + 4, 77.0)};
    partial_sum_calculations(y, y.size(), offset, widths, result.cumulative, result.differences,
                             result.areas);
    for (auto* values : {&result.cumulative, &result.differences, &result.areas}) {
        EXPECT_EQ(values->back(), 77.0);
        values->resize(y.size());
    }
    return result;
}

TEST(PartialSums, WindowsAndTheirBounds) {
    const std::vector<int> y = {1, 2, 4, 8, 16, 32, 64, 128};
    const Smoothed narrow = smoothed(y, oneWidth(1));
    EXPECT_EQ(narrow.cumulative, (std::vector<double>{1, 3, 7, 15, 31, 63, 127, 255}));
    EXPECT_EQ(narrow.differences, (std::vector<double>{0, 0, 4, 8, 16, 32, 0, 0}));
    EXPECT_EQ(narrow.areas, (std::vector<double>{0, 0, 30, 60, 120, 240, 0, 0}));
    const Smoothed wide = smoothed(y, oneWidth(3));
    EXPECT_EQ(wide.differences, (std::vector<double>{0, 0, 9, 18, 36, 0, 0, 0}));
    EXPECT_EQ(wide.areas, (std::vector<double>{0, 0, 30, 60, 120, 0, 0, 0}));
    // Longer by one bin than two windows.
    EXPECT_EQ(smoothed({1, 2, 4, 8, 16, 32, 64}, oneWidth(5)).differences, (std::vector<double>(7)));
    EXPECT_EQ(smoothed(y, oneWidth(5)).differences, (std::vector<double>{0, 0, 0, 98.0 / 3, 0, 0, 0, 0}));
    EXPECT_EQ(smoothed(y, oneWidth(7)).differences, std::vector<double>(8));
}

TEST(PartialSums, WrapInThirtyTwoBits) {
    const Smoothed result = smoothed({2'147'483'647, 1, 0, 0, 0, -1, 0, 0}, oneWidth(1));
    EXPECT_EQ(result.cumulative,
              (std::vector<double>{2147483647.0, -2147483648.0, -2147483648.0, -2147483648.0, -2147483648.0,
                                   2147483647.0, 2147483647.0, 2147483647.0}));
    EXPECT_EQ(result.differences, (std::vector<double>{0, 0, 0, 0, 4294967295.0, -4294967295.0, 0, 0}));
}

TEST(PartialSums, SegmentsMeetWithoutGapAndAFirstOneShorterThanItsWindowStopsAll) {
    const std::vector<int> y = {0, 0, 0, 0, 5, 0, 0, 0, 0, 5, 0, 0, 0, 0};
    WidthTable meeting;
    meeting.setWidths(1000, 4, 0, 1, 0.5);  // width 1 up to bin 5, width 3 up to bin 7, and so on
    EXPECT_EQ(smoothed(y, meeting).differences,
              (std::vector<double>{0, 0, 0, 5, -5, 0, 0, 2.5, 5.0 / 3, -5.0 / 3, 0, 0, 0, 0}));
    WidthTable stopping;
    stopping.setWidths(1000, 0, 0, 1, 0.5);  // the first segment ends at bin 1
    EXPECT_EQ(smoothed(y, stopping).differences, std::vector<double>(14));
    // The table counts from the offset.
    EXPECT_EQ(smoothed(y, meeting, 3).differences,
              (std::vector<double>{0, 0, 0, 2.5, -2.5, -5.0 / 3, 0, 0, 1.25, 0, 0, 0, 0, 0}));
}

TEST(PartialSums, TableThatEndsInFrontOfTheOffset) {
    const std::vector<int> y = {0, 0, 5, 0, 0, 0};
    WidthTable table;
    table.setWidths(1000, 50, 0, 1, 0);
    EXPECT_EQ(smoothed(y, table, 51).differences, std::vector<double>(6));
    EXPECT_NE(smoothed(y, table, 40).differences, std::vector<double>(6));
}

TEST(PartialSums, NoBinsAndTooFewBins) {
    std::vector<double> cumulative, differences, areas;
    partial_sum_calculations({}, 9, 0, oneWidth(3), cumulative, differences, areas);
    EXPECT_TRUE(cumulative.empty() && differences.empty() && areas.empty());
    const std::vector<int> y = {1, 2, 3};
    try {
        partial_sum_calculations(y, 4, 0, oneWidth(3), cumulative, differences, areas);
        ADD_FAILURE() << "not refused";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "there are less y values than specified");
    }
}

}  // namespace
