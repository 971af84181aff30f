#include "process-frames/peak_detection_for_data_frames.h"

#include <optional>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "fixtures/random.h"
#include "process-frames/new_sumpeakfinder.h"
#include "process-frames/sparse_sum_peak_finder.h"
#include "process-frames/working_profile.h"
#include "reference/plain_peak_finder.h"

namespace {

using fixtures::Random;
using lumo::algorithm::DataFrame;
using lumo::algorithm::FullProfileProjector;
using reference::Peaks;
using reference::WidthModel;

using Detection = lumo::algorithm::PeakDetectionForDataFrames<DataFrame<int, int>, float, true>;
using Widths = lumo::algorithm::variableWidth<unsigned long>;

std::ostream& operator<<(std::ostream& out, const Peaks& peaks) {
    for (std::size_t i = 0; i < peaks.positions.size(); ++i) {
        out << '(' << peaks.positions[i] << ' ' << peaks.intensities[i] << ' ' << peaks.areas[i] << ')';
    }
    return out;
}

struct Outcome {
    Peaks peaks;
    std::string error;

    friend bool operator==(const Outcome&, const Outcome&) = default;
};

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << outcome.peaks.positions.size() << " peaks " << outcome.peaks << outcome.error;
}

// Every occupied bin is added as two peaks, in an order of its own, so that collected peaks have to be summed
// up.
FullProfileProjector<int> projectorOf(const std::vector<int>& profile) {
    DataFrame<int, int> frame;
    for (std::size_t i = profile.size(); i-- > 0;) {
        if (profile[i] != 0) {
            const int part = profile[i] / 3;
            frame.indices.insert(frame.indices.end(), {static_cast<int>(i), static_cast<int>(i)});
            frame.intensities.insert(frame.intensities.end(), {part, profile[i] - part});
        }
    }
    frame.numberOfScans = 1;
    frame.scanOffsets = {0, frame.indices.size()};
    FullProfileProjector<int> projector;
    projector.setParameters(0, profile.size());
    projector.add(frame);
    return projector;
}

Outcome detect(const std::vector<int>& profile, const WidthModel& model, float threshold) {
    Outcome outcome;
    const FullProfileProjector<int> projector = projectorOf(profile);
    Widths widths(model.tA, model.tDelay, model.tBase, model.D);
    try {
        Detection(projector, widths)
            .detectPeaks(threshold, outcome.peaks.positions, outcome.peaks.intensities, outcome.peaks.areas);
    } catch (const std::runtime_error& error) {
        outcome.error = error.what();
    }
    return outcome;
}

Outcome detectPlainly(const std::vector<int>& profile, const WidthModel& model, float threshold) {
    try {
        return {reference::findPeaks(profile, model, threshold), ""};
    } catch (const std::runtime_error& error) {
        return {{}, error.what()};
    }
}

// The form that looks at all bins, in memory that is full of what the profile before has left.
Peaks detectInAllBins(const std::vector<int>& profile, const Widths& widths, float threshold) {
    Peaks peaks;
    {
        lumo::algorithm::PeakSink sink(threshold, peaks.positions, peaks.intensities, peaks.areas);
        lumo::algorithm::NewSPF::findPeaks(profile, widths, 0, sink);
    }
    return peaks;
}

// The form that does not, with the instructions of a level.
Peaks detectInOccupiedBins(const FullProfileProjector<int>& projector, const Widths& widths, float threshold,
                           lumo::sys::SimdLevel level) {
    lumo::algorithm::WorkingProfile working(level);
    const lumo::algorithm::BinInterval all{0, projector.count()};
    Peaks peaks;
    {
        lumo::algorithm::PeakSink sink(threshold, peaks.positions, peaks.intensities, peaks.areas);
        lumo::algorithm::SparseSumPeakFinder(level).find(
            projector.hasBins()
                ? lumo::algorithm::SparseProfile{projector.count(), {&all, 1}, projector.denseBins()}
                : working.sumUp(projector.collectedPeaks(), projector.count()),
            widths, sink);
    }
    return peaks;
}

int randomIntensity(Random& random, int kind) {
    switch (kind) {
        case 0:
            return 1 + static_cast<int>(random.below(20));
        case 1:
            return static_cast<int>(random() >> (1 + random.below(31)));
        case 2:
            return static_cast<int>(random());  // of either sign, wrapping soon
        default:
            return static_cast<int>(random.below(41)) - 20;
    }
}

// Groups of neighbouring bins, some of them flat, with anything from nothing to everything occupied, and what
// they hold may be of another kind from some bin on.
std::vector<int> randomProfile(Random& random) {
    const std::uint32_t lengths[] = {8, 100, 700, 3000, 20'000};
    std::vector<int> profile(random.below(lengths[random.below(5)]));
    int kind = static_cast<int>(random.below(4));
    const std::size_t change = random.below(20'000);
    const std::uint32_t gap = 1 + random.below(1U << random.below(13));
    const std::uint32_t group = 1 + random.below(30);
    const bool dense = random.below(8) == 0;
    std::size_t i = random.below(3) == 0 ? 0 : random.below(gap);
    while (i < profile.size()) {
        kind = i < change ? kind : 3;
        const bool flat = random.below(4) == 0;
        const int level = randomIntensity(random, kind);
        for (std::uint32_t left = 1 + random.below(group); left > 0 && i < profile.size(); --left, ++i) {
            profile[i] = flat ? level : randomIntensity(random, kind);
        }
        i += dense ? 0 : random.below(gap);
    }
    if (!profile.empty() && random.below(3) == 0) {
        profile.back() = randomIntensity(random, kind);
    }
    return profile;
}

// Segments of any length, from a single bin to all bins, starting in front of the first bin or behind it.
WidthModel randomModel(Random& random) {
    if (random.below(20) == 0) {
        return {300, 24000, 0.2, 15000};
    }
    if (random.below(6) == 0) {  // many segments of a few bins, or of one each
        return {static_cast<double>(random.below(600)), 0, 1,
                0.01 * static_cast<double>(1 + random.below(200))};
    }
    const double slope = 0.1 * static_cast<double>(1 + random.below(1U << random.below(20)));
    const double intercept = static_cast<double>(static_cast<int>(random.below(40'000)) - 20'000) * 0.05 *
                             (random.below(2) == 0 ? slope : 1.0);
    return {intercept, 0, 1, slope / 2};
}

TEST(PeakDetection, EqualsThePlainFormBitForBit) {
    Random random(5);
    std::size_t peaks = 0;
    std::size_t errors = 0;
    for (int round = 0; round < 8000; ++round) {
        const std::vector<int> profile = randomProfile(random);
        const WidthModel model = randomModel(random);
        const float threshold = random.below(2) == 0 ? static_cast<float>(random.below(30)) - 15.0F : 0.0F;
        const Outcome expected = detectPlainly(profile, model, threshold);
        ASSERT_EQ(detect(profile, model, threshold), expected)
            << "round " << round << ", bins " << profile.size() << ", model " << model.tA << ' ' << model.D;
        peaks += expected.peaks.positions.size();
        errors += expected.error.empty() ? 0U : 1U;
        if (expected.error.empty() && profile.size() > 1000) {
            const auto segments = reference::widthSegments(profile.size(), model);
            const Peaks unpadded =
                reference::maxima(profile, reference::smooth(profile, segments), segments, 0, threshold);
            Widths widths(model.tA, model.tDelay, model.tBase, model.D);
            widths.setWidths(profile.size());
            ASSERT_EQ(detectInAllBins(profile, widths, threshold), unpadded);
            for (const auto level : lumo::sys::supportedSimdLevels()) {
                ASSERT_EQ(detectInOccupiedBins(projectorOf(profile), widths, threshold, level), unpadded)
                    << "round " << round << ", level " << static_cast<int>(level);
            }
        }
    }
    EXPECT_GT(peaks, 100'000U);
    EXPECT_GT(errors, 0U);
}

struct EdgeCase {
    const char* name;
    std::size_t bins;
    std::vector<std::pair<std::size_t, int>> occupied;
    WidthModel model;
    std::size_t peaks;
    float threshold = 0.0F;
};

class PeakDetectionEdge : public testing::TestWithParam<EdgeCase> {};

TEST_P(PeakDetectionEdge, EqualsThePlainForm) {
    const EdgeCase& c = GetParam();
    std::vector<int> profile(c.bins);
    for (const auto& [bin, intensity] : c.occupied) {
        profile[bin] = intensity;
    }
    const Outcome expected = detectPlainly(profile, c.model, c.threshold);
    EXPECT_EQ(detect(profile, c.model, c.threshold), expected);
    EXPECT_EQ(expected.peaks.positions.size(), c.peaks);
}

constexpr WidthModel kUsual{300, 24000, 0.2, 15000};
constexpr int kMaxInt = 2'147'483'647;

INSTANTIATE_TEST_SUITE_P(
    Profiles, PeakDetectionEdge,
    testing::Values(
        EdgeCase{"NoBins", 0, {}, kUsual, 0}, EdgeCase{"AllEmpty", 400'000, {}, kUsual, 0},
        EdgeCase{"OneBin", 1, {{0, 5}}, kUsual, 1}, EdgeCase{"OneEmptyBin", 1, {}, kUsual, 0},
        EdgeCase{"TwoBins", 2, {{0, 5}, {1, 3}}, kUsual, 1},
        EdgeCase{"FirstAndLastOfPadded", 17, {{0, 5}, {16, 3}}, kUsual, 2},
        EdgeCase{"FirstAndLastOfUnpadded", 18, {{0, 5}, {17, 3}}, kUsual, 0},
        EdgeCase{"FirstAndLastOfLong", 400'000, {{0, 5}, {399'999, 3}}, kUsual, 0},
        EdgeCase{"SingleHits", 400'000, {{7, 1}, {31'500, 1}, {31'510, 2}, {200'000, 1}}, kUsual, 4},
        EdgeCase{"SumsWrapBetweenPeaks",
                 400'000,
                 {{100, kMaxInt}, {5000, kMaxInt}, {9000, 7}, {9001, 5}, {300'000, kMaxInt}},
                 kUsual,
                 2},
        EdgeCase{"RiseAndFallFarApart", 10'000, {{100, -5}, {9000, -5}}, kUsual, 0},
        // The last rise after the first bin lies among the surroundings of the second.
        EdgeCase{"RiseAndFallInNeighbouringStretches",
                 10'000,
                 {{1600, -5}, {1680, -5}},
                 {-5e8, 0, 1, 5e6},
                 1,
                 -1.0F},
        EdgeCase{"NoUsableWidth", 10'000, {{100, 5}}, {-1e9, 0, 1, 1}, 0},
        EdgeCase{"WidthsEndBeforeTheProfile", 10'000, {{100, 5}, {9000, 5}}, {500, 0, 1, 0}, 1},
        EdgeCase{
            "WideWindowsArePaddedFar", 593, {{0, 5}, {300, 9}, {592, 5}}, {-196.0 * 6000, 0, 1, 3000}, 3}),
    [](const auto& each) { return each.param.name; });

TEST(PeakDetection, AppendsToWhatIsThereAndIsRepeatable) {
    const FullProfileProjector<int> projector = projectorOf({0, 0, 0, 5, 9, 4, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0});
    Widths widths(kUsual.tA, kUsual.tDelay, kUsual.tBase, kUsual.D);
    Peaks peaks;
    Detection detection(projector, widths);
    detection.detectPeaks(0.0F, peaks.positions, peaks.intensities, peaks.areas);
    const Peaks first = peaks;
    ASSERT_EQ(first.positions.size(), 2U);
    detection.detectPeaks(0.0F, peaks.positions, peaks.intensities, peaks.areas);
    ASSERT_EQ(peaks.positions.size(), 4U);
    EXPECT_EQ((Peaks{{peaks.positions.begin() + 2, peaks.positions.end()},
                     {peaks.intensities.begin() + 2, peaks.intensities.end()},
                     {peaks.areas.begin() + 2, peaks.areas.end()}}),
              first);
}

}  // namespace
