#include "process-frames/peak_detection_for_data_frames.h"

#include <cmath>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "fixtures/failure.h"
#include "fixtures/random.h"
#include "process-frames/data_frame.h"
#include "process-frames/full_profile_projector.h"
#include "process-frames/new_sumpeakfinder.h"
#include "process-frames/sparse_sum_peak_finder.h"
#include "process-frames/working_profile.h"
#include "reference/plain_peak_finder.h"

namespace {

using fixtures::failureOf;
using fixtures::Random;
using lumo::algorithm::DataFrame;
using lumo::algorithm::FullProfileProjector;
using reference::Peaks;
using reference::WidthModel;

using Detection = lumo::algorithm::PeakDetectionForDataFrames<DataFrame<int, int>, float, true>;
using DetectionWithoutAreas = lumo::algorithm::PeakDetectionForDataFrames<DataFrame<int, int>, float, false>;
using Widths = lumo::algorithm::variableWidth<unsigned long>;

// Every occupied bin is added as two peaks, the last bin first, so that collected peaks have to be summed up.
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

std::vector<reference::WidthSegment> segmentsOf(const Widths& widths) {
    std::vector<reference::WidthSegment> segments;
    for (std::size_t i = 0; i < widths.size(); ++i) {
        segments.push_back({widths.startOf(i), widths.endOf(i), widths.widthOf(i)});
    }
    return segments;
}

struct Outcome {
    Peaks peaks;
    std::string error;

    friend bool operator==(const Outcome&, const Outcome&) = default;
};

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    for (std::size_t i = 0; i < outcome.peaks.positions.size(); ++i) {
        out << '(' << outcome.peaks.positions[i] << ' ' << outcome.peaks.intensities[i] << ' '
            << outcome.peaks.areas[i] << ')';
    }
    return out << ' ' << outcome.error;
}

// Appends to what is there.
Outcome detect(const std::vector<int>& profile, const WidthModel& model, float threshold) {
    Outcome outcome{{{-9.0}, {-9.0F}, {-9.0F}}, ""};
    auto& [positions, intensities, areas] = outcome.peaks;
    const FullProfileProjector<int> projector = projectorOf(profile);
    Widths widths(model.tA, model.tDelay, model.tBase, model.D);
    outcome.error = failureOf(
        [&] { Detection(projector, widths).detectPeaks(threshold, positions, intensities, areas); });
    EXPECT_EQ(positions.at(0), -9.0);
    positions.erase(positions.begin());
    intensities.erase(intensities.begin());
    areas.erase(areas.begin());
    Peaks others;
    EXPECT_EQ(failureOf([&] {
                  DetectionWithoutAreas(projector, widths)
                      .detectPeaks(threshold, others.positions, others.intensities);
              }),
              outcome.error);
    EXPECT_TRUE(others.positions == positions && others.intensities == intensities);
    return outcome;
}

Outcome detectPlainly(const std::vector<int>& profile, const WidthModel& model, float threshold) {
    Outcome outcome;
    outcome.error = failureOf([&] { outcome.peaks = reference::findPeaks(profile, model, threshold); });
    return outcome;
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

// The form that does not, with the instructions of a level, in memory that has seen other profiles.
Peaks detectInOccupiedBins(const FullProfileProjector<int>& projector, const Widths& widths, float threshold,
                           lumo::sys::SimdLevel level) {
    static std::map<lumo::sys::SimdLevel, lumo::algorithm::WorkingProfile> kept;
    lumo::algorithm::WorkingProfile& working = kept.try_emplace(level, level).first->second;
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

// Segments of any length, from a single bin to all bins, starting before the first bin or after it.
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

// Bits are compared in the release build; the sanitizers look at memory, ten times as slowly.
#ifdef __SANITIZE_ADDRESS__
constexpr int kRounds = 1'000;
#else
constexpr int kRounds = 8'000;
#endif

TEST(PeakDetection, EqualsThePlainFormBitForBit) {
    Random random(5);
    std::size_t peaks = 0;
    std::size_t errors = 0;
    for (int round = 0; round < kRounds; ++round) {
        const std::vector<int> profile = randomProfile(random);
        const WidthModel model = randomModel(random);
        const float threshold = random.below(2) == 0 ? static_cast<float>(random.below(30)) - 15.0F : 0.0F;
        const Outcome expected = detectPlainly(profile, model, threshold);
        ASSERT_EQ(detect(profile, model, threshold), expected)
            << "round " << round << ", bins " << profile.size() << ", model " << model.tA << ' ' << model.D;
        peaks += expected.peaks.positions.size();
        errors += expected.error == "none" ? 0U : 1U;
        if (expected.error == "none" && profile.size() > 1000) {
            const auto segments = reference::widthSegments(profile.size(), model);
            const Peaks unpadded =
                reference::maxima(profile, reference::smooth(profile, segments), segments, 0, threshold);
            Widths widths(model.tA, model.tDelay, model.tBase, model.D);
            widths.setWidths(profile.size());
            ASSERT_EQ(segmentsOf(widths), segments);
            ASSERT_EQ(detectInAllBins(profile, widths, threshold), unpadded);
            for (const auto level : lumo::sys::supportedSimdLevels()) {
                ASSERT_EQ(detectInOccupiedBins(projectorOf(profile), widths, threshold, level), unpadded)
                    << "round " << round << ", level " << static_cast<int>(level);
            }
        }
    }
    EXPECT_GT(peaks, 12U * kRounds);
    EXPECT_TRUE(errors > 0 || kRounds < 8'000) << "they are rare";
}

TEST(PeakDetection, EdgesEqualThePlainForm) {
    constexpr WidthModel kUsual{300, 24000, 0.2, 15000};
    constexpr int kMaxInt = 2'147'483'647;
    const struct {
        const char* name;
        std::size_t bins;
        std::vector<std::pair<std::size_t, int>> occupied;
        std::size_t peaks;
        WidthModel model = kUsual;
        float threshold = 0.0F;
    } cases[] = {
        {"no bins", 0, {}, 0},
        {"all empty", 400'000, {}, 0},
        {"one bin", 1, {{0, 5}}, 1},
        {"one empty bin", 1, {}, 0},
        {"two bins", 2, {{0, 5}, {1, 3}}, 1},
        {"first and last of padded", 17, {{0, 5}, {16, 3}}, 2},
        {"first and last of unpadded", 18, {{0, 5}, {17, 3}}, 0},
        {"first and last of long", 400'000, {{0, 5}, {399'999, 3}}, 0},
        {"single hits", 400'000, {{7, 1}, {31'500, 1}, {31'510, 2}, {200'000, 1}}, 4},
        {"sums wrap", 400'000, {{9, kMaxInt}, {5000, kMaxInt}, {9000, 7}, {9001, 5}, {300'000, kMaxInt}}, 2},
        {"rise and fall far apart", 10'000, {{100, -5}, {9000, -5}}, 0},
        // The last rise after the first bin lies among the surroundings of the second.
        {"in neighbouring stretches", 10'000, {{1600, -5}, {1680, -5}}, 1, {-5e8, 0, 1, 5e6}, -1.0F},
        {"no usable width", 10'000, {{100, 5}}, 0, {-1e9, 0, 1, 1}},
        {"not a number", 10'000, {{100, 5}}, 0, {NAN, 0, 1, 1}},
        {"infinite", 10'000, {{100, 5}}, 0, {0, 0, 0, 15000}},
        {"as far as can be", 10'000, {{100, 5}}, 1, {1e300, 0, 1, 15000}},
        {"falling", 10'000, {{10, 5}}, 1, {50, 0, 1, -1}},
        {"widths end before the profile", 10'000, {{100, 5}, {9000, 5}}, 1, {500, 0, 1, 0}},
        {"wide windows are padded far", 593, {{0, 5}, {300, 9}, {592, 5}}, 3, {-196.0 * 6000, 0, 1, 3000}},
    };
    for (const auto& c : cases) {
        std::vector<int> profile(c.bins);
        for (const auto& [bin, intensity] : c.occupied) {
            profile[bin] = intensity;
        }
        const Outcome expected = detectPlainly(profile, c.model, c.threshold);
        EXPECT_EQ(detect(profile, c.model, c.threshold), expected) << c.name;
        EXPECT_EQ(expected.peaks.positions.size(), c.peaks) << c.name;
    }
}

TEST(VariableWidth, IsComputedAgainOnlyForProfilesBeyondWhatItCovers) {
    Widths widths;
    widths.setWidths(100, 0, 0, 1, 1000);
    const auto first = segmentsOf(widths);
    widths.setWidths(5100, 0, 0, 1, 5);
    EXPECT_EQ(segmentsOf(widths), first);
    widths.setWidths(5101);
    EXPECT_EQ(segmentsOf(widths).size(), 4U);
    EXPECT_EQ(widths.coveredLength(), 10101U);
}

}  // namespace
