#include "process-frames/working_profile.h"

#include <gtest/gtest.h>

#include "fixtures/random.h"

namespace {

using lumo::algorithm::BinInterval;
using lumo::algorithm::SparseProfile;
using lumo::algorithm::WorkingProfile;
using Projector = lumo::algorithm::FullProfileProjector<int>;

struct Peaks {
    std::vector<Projector::Part> parts;
    std::vector<int> profile;
};

// In two parts, and as the profile that they add up to.
Peaks randomPeaks(fixtures::Random& random, std::uint32_t binCount) {
    Peaks peaks{{}, std::vector<int>(binCount)};
    for (int i = 0; i < 2; ++i) {
        const std::size_t count = random.below(4) == 0 ? random.below(3000) : random.below(30);
        Projector::Part& part = peaks.parts.emplace_back(std::make_unique<std::uint32_t[]>(count),
                                                         std::make_unique<int[]>(count), count);
        for (std::size_t k = 0; k < count; ++k) {
            part.bins[k] = random.below(binCount);
            part.intensities[k] = static_cast<int>(random());
            int& sum = peaks.profile[part.bins[k]];
            sum = lumo::algorithm::wrappingSum(sum, part.intensities[k]);
        }
    }
    return peaks;
}

std::vector<int> denseForm(const SparseProfile& sparse) {
    std::vector<int> profile(sparse.count);
    const int* value = sparse.values.data();
    std::size_t last = 0;
    for (const BinInterval& run : sparse.runs) {
        EXPECT_TRUE(run.begin >= last && run.begin < run.end && run.end <= sparse.count);
        std::copy_n(value, run.size(), &profile[run.begin]);
        value += run.size();
        last = run.end;
    }
    EXPECT_EQ(value, sparse.values.data() + sparse.values.size());
    return profile;
}

// One profile after the other in the same memory, of any length and fullness.
TEST(WorkingProfile, SumsUpAndKnowsWhereAndForgetsEverything) {
    for (const auto level : lumo::sys::supportedSimdLevels()) {
        fixtures::Random random(9);
        WorkingProfile working(level);
        for (int round = 0; round < 400; ++round) {
            const std::uint32_t binCount = 1 + random.below(1U << random.below(15));
            const Peaks peaks = randomPeaks(random, binCount);
            const SparseProfile sum = working.sumUp(peaks.parts, binCount);
            ASSERT_EQ(denseForm(sum), peaks.profile) << round << ' ' << static_cast<int>(level);
            ASSERT_LE(sum.values.size(), peaks.parts[0].count + peaks.parts[1].count)
                << "empty bins are not looked at";
        }
    }
}

}  // namespace
