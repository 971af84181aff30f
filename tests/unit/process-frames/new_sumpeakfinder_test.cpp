// The two steps in numbers made by hand. That whole profiles give what the plain form gives is tested beside it.
#include "process-frames/new_sumpeakfinder.h"

#include <gtest/gtest.h>

#include "fixtures/failure.h"

namespace {

using lumo::algorithm::WidthTable;
using Values = std::vector<double>;

// One segment of the given width over everything: narrower ones end in front of the first bin.
WidthTable oneWidth(unsigned width) {
    WidthTable table(-1e7 * (width - 1), 0, 1, 5e6);
    table.setWidths(1000);
    return table;
}

struct Maxima {
    Values positions;
    std::vector<float> intensities;
};

TEST(LocalMaxima, LieBetweenTheLastRiseAndTheFirstFall) {
    const std::vector<int> hill = {0, 5, 9, 7, 0};
    const struct {
        std::vector<int> y;
        Values slopes;
        Maxima expected;
        unsigned width = 3;
        std::size_t shift = 0;
        std::size_t offset = 0;
        float threshold = 0.0F;
    } cases[] = {
        {hill, {0, 3, -1, 0, 0}, {{2.25}, {9}}},
        {hill, {0, 1, 0, -3, 0}, {{2.0}, {9}}},                               // a flat bin between them
        {{0, 1, 2, 3, 4, 5, 6, 0}, {0, 1, 0, 0, 0, 0, -1, 0}, {{4.0}, {5}}},  // several
        {hill, {9, 1, -1, -5, 0}, {{2.0}, {9}}},                              // of two rises the last
        {{4, 3, 2, 8, 1, 0}, {1, -1, -1, 1, -1, -1}, {{1.0, 4.0}, {4, 8}}},   // a fall without a rise
        {{9, 2, 3, 9, 9}, {0, 1, -1, 0, 0}, {{2.0}, {9}}, 1},                 // two bins are looked at
        {{4, 9, 2, 4, 2, 7, 1}, {1, -1, 0, 0, 1, -1, 0}, {{1.0}, {9}}, 3, 0, 0, 7},
        {{0, 0, 5, 9, 7, 0, 0}, {0, 0, 1, -1, 0, 0, 0}, {{101.0}, {9}}, 3, 2, 100},
        {{0, 0, 0, 5, 9, 0, 0, 0}, {1, -1, 0, 0, 0, 0, 0, 0}, {{-2.0}, {0}}, 3, 3, 0, -1},
        {{0, 0, 5, 0, 0}, {}, {{8.0}, {5}}, 3, 2, 8},
        {{1, 2, 3, 4}, {1, -1, 1, -1}, {}, 3, 3},  // nothing but padding
    };
    for (const auto& c : cases) {
        Maxima found;
        std::vector<float> areas;
        {
            lumo::algorithm::PeakSink sink(c.threshold, found.positions, found.intensities, areas);
            const Values areasLikeY(c.y.begin(), c.y.end());
            localMaxima(c.y, c.y.size(), c.slopes, areasLikeY, oneWidth(c.width), c.shift, c.offset, sink);
        }
        EXPECT_EQ(found.positions, c.expected.positions);
        EXPECT_EQ(found.intensities, c.expected.intensities);
        EXPECT_EQ(areas, c.expected.intensities);
    }
}

// Into memory that an earlier, longer profile has left full.
Values slopes(const std::vector<int>& y, const WidthTable& widths, std::size_t offset = 0) {
    Values cumulative(y.size() + 4, 77.0), differences = cumulative, areas = cumulative;
    partial_sum_calculations(y, y.size(), offset, widths, cumulative, differences, areas);
    EXPECT_EQ(cumulative.back() + differences.back() + areas.back(), 3 * 77.0);
    differences.resize(y.size());
    return differences;
}

TEST(PartialSums, WindowsEndWithTheDataAndSumsWrapIn32Bits) {
    const std::vector<int> y = {1, 2, 4, 8, 16, 32, 64, 128};
    EXPECT_EQ(slopes(y, oneWidth(1)), (Values{0, 0, 4, 8, 16, 32, 0, 0}));
    EXPECT_EQ(slopes(y, oneWidth(3)), (Values{0, 0, 9, 18, 36, 0, 0, 0}));
    EXPECT_EQ(slopes(y, oneWidth(5)), (Values{0, 0, 0, 98.0 / 3, 0, 0, 0, 0}));
    EXPECT_EQ(slopes(y, oneWidth(7)), Values(8));
    EXPECT_EQ(slopes({2'147'483'647, 1, 0, 0, 0, -1, 0, 0}, oneWidth(1)),
              (Values{0, 0, 0, 0, 4294967295.0, -4294967295.0, 0, 0}));
    Values none;
    EXPECT_EQ(fixtures::failureOf([&] { partial_sum_calculations(y, 9, 0, oneWidth(1), none, none, none); }),
              "there are less y values than specified");
}

TEST(PartialSums, SegmentsMeetAndAFirstOneShorterThanItsWindowStopsAll) {
    const std::vector<int> y = {0, 0, 0, 0, 5, 0, 0, 0, 0, 5, 0, 0, 0, 0};
    WidthTable meeting;
    meeting.setWidths(1000, 4, 0, 1, 0.5);  // width 1 up to bin 5, width 3 up to bin 7, and so on
    EXPECT_EQ(slopes(y, meeting), (Values{0, 0, 0, 5, -5, 0, 0, 2.5, 5.0 / 3, -5.0 / 3, 0, 0, 0, 0}));
    EXPECT_EQ(slopes(y, meeting, 3), (Values{0, 0, 0, 2.5, -2.5, -5.0 / 3, 0, 0, 1.25, 0, 0, 0, 0, 0}));
    WidthTable stopping;
    stopping.setWidths(1000, 0, 0, 1, 0.5);  // the first segment ends at bin 1
    EXPECT_EQ(slopes(y, stopping), Values(14));
    WidthTable ending;
    ending.setWidths(1000, 50, 0, 1, 0);
    EXPECT_EQ(slopes(y, ending, 51), Values(14));  // in front of the offset
    EXPECT_NE(slopes(y, ending, 40), Values(14));
}

}  // namespace
