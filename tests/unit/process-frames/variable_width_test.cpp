#include "process-frames/algorithm/variable_width.h"

#include <cmath>
#include <limits>
#include <stdexcept>

#include <gtest/gtest.h>

#include "reference/plain_peak_finder.h"

namespace {

using Widths = lumo::algorithm::variableWidth<unsigned long>;
using reference::WidthModel;

using Segments = std::vector<std::vector<std::uint64_t>>;

Segments segmentsOf(const Widths& widths) {
    Segments segments;
    for (std::size_t i = 0; i < widths.size(); ++i) {
        segments.push_back({widths.startOf(i), widths.endOf(i), widths.widthOf(i)});
    }
    return segments;
}

Widths widthsFor(std::size_t n, const WidthModel& model) {
    Widths widths(model.tA, model.tDelay, model.tBase, model.D);
    widths.setWidths(n);
    return widths;
}

struct WidthCase {
    const char* name;
    std::size_t n;
    WidthModel model;
    Segments segments;
    std::uint64_t startOfWide;
};

class VariableWidth : public testing::TestWithParam<WidthCase> {};

TEST_P(VariableWidth, SegmentsFollowTheModel) {
    const WidthCase& c = GetParam();
    const Widths widths = widthsFor(c.n, c.model);
    EXPECT_EQ(segmentsOf(widths), c.segments);
    EXPECT_EQ(widths.startOfWideSegments(), c.startOfWide);
    EXPECT_EQ(widths.coveredLength(), c.n + 5000);
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(
    Models, VariableWidth,
    testing::Values(
        WidthCase{"FromWidthOne", 100, {0, 0, 1, 1000}, {{0, 2000, 1}, {2001, 6000, 3}}, 2001},
        WidthCase{"GoesOnUntilTheReserveIsCovered",
                  1002,
                  {0, 0, 1, 1000},
                  {{0, 2000, 1}, {2001, 6000, 3}, {6001, 10000, 5}},
                  2001},
        WidthCase{"NegativePartsAreLeftOut", 100, {0, 9000, 2, 1000}, {{0, 1500, 3}, {1501, 5500, 5}}, 0},
        WidthCase{"FractionsAreCutOff", 100, {-2999.5, 0, 1, 4000}, {{0, 5000, 1}, {5001, 21000, 3}}, 5001},
        WidthCase{"OneSegmentIsEnough", 100, {6000, 0, 1, 0}, {{0, 6000, 1}}, 0},
        WidthCase{"NoSlopeEndsShort", 100, {50, 0, 1, 0}, {{0, 50, 1}}, 0},
        WidthCase{"FallingModelEndsShort", 100, {50, 0, 1, -1}, {{0, 48, 1}}, 0},
        WidthCase{"AllNegative", 100, {-1e9, 0, 1, 1}, {}, 0},
        WidthCase{"NoTimeBase", 100, {1000, 10, 0, 15000}, {}, 0},
        WidthCase{"NoTimeBaseAndNoDelay", 100, {0, 0, 0, 15000}, {}, 0},
        WidthCase{"NotANumber", 100, {kNaN, 0, 1, 15000}, {}, 0},
        WidthCase{"InfiniteSlope", 100, {0, 0, 1, kInfinity}, {}, 0},
        WidthCase{"BeyondEveryInteger", 100, {1e300, 0, 1, 15000}, {{0, 4'000'000'000'000'000'000, 1}}, 0}),
    [](const auto& each) { return each.param.name; });

TEST(VariableWidthTable, OnlyStoppingOneWidthBeforeTheEndIsRefused) {
    // One index more per width: the table ends with the width at which it covers n + 5000 indices.
    for (const double lastWidth : {197.0, 199.0, 201.0, 203.0}) {
        const WidthModel model{5100 - lastWidth + 0.5, 0, 1, 0.5};
        Widths widths(model.tA, model.tDelay, model.tBase, model.D);
        if (lastWidth == 199.0) {
            try {
                widths.setWidths(100);
                ADD_FAILURE() << "not refused";
            } catch (const std::runtime_error& error) {
                EXPECT_STREQ(error.what(), "setWidths() reached maximum width.");
            }
            EXPECT_TRUE(widths.empty());
        } else {
            widths.setWidths(100);
            EXPECT_EQ(widths.widthOf(widths.size() - 1), std::min(lastWidth, 201.0));
        }
    }
}

TEST(VariableWidthTable, IsComputedAgainOnlyForProfilesBeyondWhatItCovers) {
    Widths widths;
    widths.setWidths(100, 0, 0, 1, 1000);
    const Segments first = segmentsOf(widths);
    widths.setWidths(5100, 0, 0, 1, 5);
    EXPECT_EQ(segmentsOf(widths), first);
    widths.setWidths(5101);
    EXPECT_EQ(segmentsOf(widths).size(), 4U);
    EXPECT_EQ(widths.coveredLength(), 10101U);
}

}  // namespace
