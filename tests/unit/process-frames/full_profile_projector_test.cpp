#include "process-frames/full_profile_projector.h"

#include <limits>

#include <gtest/gtest.h>

#include "fixtures/failure.h"
#include "fixtures/random.h"
#include "process-frames/data_frame.h"

namespace {

using Projector = lumo::algorithm::FullProfileProjector<int>;
using Peaks = std::vector<std::pair<int, int>>;

// All peaks in one scan; the buffers are longer than what is used, as those of a frame that was used before.
lumo::algorithm::DataFrame<int, int> frameOf(const Peaks& peaks) {
    lumo::algorithm::DataFrame<int, int> frame;
    frame.numberOfScans = 1;
    frame.peakCapacity = peaks.size() + 3;
    frame.allocateBuffers();
    for (std::size_t i = 0; i < peaks.size(); ++i) {
        frame.indices[i] = peaks[i].first;
        frame.intensities[i] = peaks[i].second;
    }
    frame.scanOffsets[1] = peaks.size();
    return frame;
}

TEST(FullProfileProjector, SumsPeaksInsideUpToItsCapacity) {
    Projector projector;
    projector.setFixedCapacity(5);
    projector.setParameters(10, 5);
    projector.add(frameOf({{9, 1}, {10, 2}, {14, 3}, {15, 4}, {10, 5}, {-1, 6}}));
    projector.add(frameOf({{std::numeric_limits<int>::max(), 7}, {std::numeric_limits<int>::min(), 8}}));
    EXPECT_EQ(projector.profile(), (std::vector<int>{7, 0, 0, 0, 3}));
    EXPECT_EQ(fixtures::failureOf([&] { projector.setParameters(0, 6); }), "Fixed capacity (5) exceeded.");
    EXPECT_EQ(projector.count(), 5U);
    projector.clear();
    EXPECT_EQ(projector.profile(), std::vector<int>(5));
}

// Grows, sometimes shrinks, and fills a profile, few or many peaks at a time, beside a plain vector.
TEST(FullProfileProjector, EqualsAPlainVectorThroughAnyHistory) {
    fixtures::Random random(3);
    std::size_t sparseSteps = 0;
    std::size_t denseSteps = 0;
    for (int round = 0; round < 300; ++round) {
        Projector projector;
        std::vector<int> expected;
        for (int step = 0; step < 12; ++step) {
            const std::size_t bins =
                random.below(10) == 0 ? random.below(2000) : expected.size() + random.below(300);
            projector.setParameters(0, bins);
            expected.resize(bins);
            Peaks peaks(random.below(5) == 0 ? random.below(3000) : random.below(30));
            for (auto& [index, intensity] : peaks) {
                index = static_cast<int>(random.below(2100)) - 50;
                intensity = static_cast<int>(random() >> random.below(31));
                if (index >= 0 && static_cast<std::size_t>(index) < bins) {
                    int& bin = expected[static_cast<std::size_t>(index)];
                    bin = static_cast<int>(static_cast<unsigned>(bin) + static_cast<unsigned>(intensity));
                }
            }
            projector.add(frameOf(peaks));
            ASSERT_EQ(projector.profile(), expected) << round << ' ' << step;
            sparseSteps += projector.collectedPeaks().empty() ? 0U : 1U;
            denseSteps += projector.hasBins() ? 1U : 0U;
        }
    }
    EXPECT_GT(std::min(sparseSteps, denseSteps), 500U);
}

}  // namespace
