#include "process-frames/working_profile.h"

#include <gtest/gtest.h>

#include "fixtures/random.h"

namespace {

using lumo::algorithm::BinInterval;
using lumo::algorithm::WorkingProfile;
using Peak = lumo::algorithm::FullProfileProjector<int>::Peak;

// One profile after the other in the same memory, of any length and fullness.
TEST(WorkingProfile, SumsUpAndKnowsWhereAndForgetsEverything) {
    fixtures::Random random(9);
    WorkingProfile working;
    for (int round = 0; round < 400; ++round) {
        const std::uint32_t count = 1 + random.below(1U << random.below(15));
        std::vector<int> expected(count);
        std::vector<Peak> peaks(random.below(4) == 0 ? random.below(3000) : random.below(30));
        for (Peak& peak : peaks) {
            peak = {random.below(count), static_cast<int>(random())};
            expected[peak.bin] = lumo::algorithm::wrappingSum(expected[peak.bin], peak.intensity);
        }
        WorkingProfile::Sum sum(working, count);
        sum.add(std::span(peaks).first(peaks.size() / 2));
        sum.add(std::span(peaks).subspan(peaks.size() / 2));
        ASSERT_EQ(std::vector<int>(sum.bins().begin(), sum.bins().end()), expected) << round;
        std::vector<int> onlyOccupied(count);
        std::size_t last = 0;
        for (const BinInterval& interval : sum.occupied()) {
            ASSERT_TRUE(interval.begin >= last && interval.begin < interval.end && interval.end <= count);
            std::copy(expected.begin() + static_cast<std::ptrdiff_t>(interval.begin),
                      expected.begin() + static_cast<std::ptrdiff_t>(interval.end),
                      onlyOccupied.begin() + static_cast<std::ptrdiff_t>(interval.begin));
            last = interval.end;
        }
        ASSERT_EQ(onlyOccupied, expected) << round;
        ASSERT_LE(sum.occupied().size(), peaks.size()) << "empty bins are not looked at";
    }
}

}  // namespace
