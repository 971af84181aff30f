#include "process-frames/algorithm/variable_width.h"

#include <limits>

#include <gtest/gtest.h>

#include "fixtures/failure.h"
#include "reference/plain_peak_finder.h"

namespace {

using Widths = lumo::algorithm::variableWidth<unsigned long>;
using reference::WidthModel;
using Segments = std::vector<reference::WidthSegment>;

Segments segmentsOf(const Widths& widths) {
    Segments segments;
    for (std::size_t i = 0; i < widths.size(); ++i) {
        segments.push_back({widths.startOf(i), widths.endOf(i), widths.widthOf(i)});
    }
    return segments;
}

TEST(VariableWidth, SegmentsFollowTheModel) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    const struct {
        std::size_t n;
        WidthModel model;
        Segments segments;
        std::uint64_t startOfWide = 0;
    } cases[] = {
        {100, {0, 0, 1, 1000}, {{0, 2000, 1}, {2001, 6000, 3}}, 2001},
        {1002, {0, 0, 1, 1000}, {{0, 2000, 1}, {2001, 6000, 3}, {6001, 10000, 5}}, 2001},  // the reserve
        {100, {0, 9000, 2, 1000}, {{0, 1500, 3}, {1501, 5500, 5}}},                        // no width 1
        {100, {-2999.5, 0, 1, 4000}, {{0, 5000, 1}, {5001, 21000, 3}}, 5001},
        {100, {6000, 0, 1, 0}, {{0, 6000, 1}}},
        {100, {50, 0, 1, -1}, {{0, 48, 1}}},  // falls, so it ends early
        {100, {-1e9, 0, 1, 1}, {}},
        {100, {1000, 10, 0, 15000}, {}},
        {100, {0, 0, 0, 15000}, {}},
        {100, {kNaN, 0, 1, 15000}, {}},
        {100, {0, 0, 1, kInfinity}, {}},
        {100, {1e300, 0, 1, 15000}, {{0, 4'000'000'000'000'000'000, 1}}},
    };
    for (const auto& c : cases) {
        Widths widths(c.model.tA, c.model.tDelay, c.model.tBase, c.model.D);
        widths.setWidths(c.n);
        EXPECT_EQ(segmentsOf(widths), c.segments) << c.model.tA << ' ' << c.model.D;
        EXPECT_EQ(widths.startOfWideSegments(), c.startOfWide);
        EXPECT_EQ(widths.coveredLength(), c.n + 5000);
    }
}

// One index more per width: the table ends with the width at which it covers n + 5000 indices.
TEST(VariableWidth, OnlyStoppingOneWidthBeforeTheEndIsRefused) {
    for (const double lastWidth : {197.0, 199.0, 201.0, 203.0}) {
        Widths widths(5100 - lastWidth + 0.5, 0, 1, 0.5);
        EXPECT_EQ(fixtures::failureOf([&] { widths.setWidths(100); }),
                  lastWidth == 199.0 ? "setWidths() reached maximum width." : "none");
        EXPECT_EQ(widths.empty(), lastWidth == 199.0);
        if (!widths.empty()) {
            EXPECT_EQ(widths.widthOf(widths.size() - 1), std::min(lastWidth, 201.0));
        }
    }
}

TEST(VariableWidth, IsComputedAgainOnlyForProfilesBeyondWhatItCovers) {
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
