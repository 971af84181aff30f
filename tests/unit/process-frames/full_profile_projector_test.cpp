#include "process-frames/full_profile_projector.h"

#include <limits>

#include <gtest/gtest.h>

#include "fixtures/failure.h"
#include "process-frames/data_frame.h"

namespace {

using Projector = lumo::algorithm::FullProfileProjector<int>;
using Columns = std::vector<std::pair<int, int>>;

// All peaks in one scan; the buffers are longer than what is used, as those of a frame that was used before.
lumo::algorithm::DataFrame<int, int> frameOf(const Columns& peaks) {
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

}  // namespace
