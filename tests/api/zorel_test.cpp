#include <algorithm>
#include <map>
#include <tuple>

#include <gtest/gtest.h>

#include "api/zorel_results.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/random.h"
#include "reference/plain_peak_finder.h"

namespace {

using fixtures::AnalysisBuilder;
using fixtures::Frame;
using zorel::Line;
using zorel::Profile;
using zorel::readFrame;
using zorel::readList;
using zorel::Result;

constexpr std::uint32_t kBins = 400'000;

// A run of two MS1 frames, 1 and 2 with calibrations of their own, MS/MS frames from 3 on, and what must come
// out of it.
class ZorelRun {
public:
    explicit ZorelRun(int compression) { builder.compression(compression).schema(1).digitizerSamples(kBins); }

    // Rows go to the table in the order of the calls.
    void measure(std::int64_t precursor, std::int64_t parent, std::int64_t frame, std::uint32_t begin,
                 std::uint32_t end) {
        if (!parents.contains(precursor)) {
            builder.precursor({.id = precursor, .parent = parent, .scanNumber = begin + 0.5});
            parents[precursor] = parent;
        }
        builder.zorelMsMs(frame, precursor, begin, end);
        rows.push_back({parent, frame, precursor, begin, end});
    }

    void setFrame(std::int64_t id, Frame frame) { frames[id] = std::move(frame); }

    const AnalysisBuilder& build() {
        builder.frame({}, {.id = 1}).frame({}, {.id = 2, .mzCalibration = 2});
        builder.mzCalibration({.id = 1}).mzCalibration(
            {.id = 2, .modelType = 1, .digitizerTimebase = 0.25, .digitizerDelay = 21000.0});
        for (const auto& [id, frame] : frames) {
            builder.frame(frame, {.id = id, .mzCalibration = 2, .msMsType = 8});
        }
        return builder;
    }

    Result expected(const api::Analysis& analysis, std::vector<std::int64_t> ids) const {
        std::vector<Row> sorted = rows;
        std::stable_sort(sorted.begin(), sorted.end(), [](const Row& a, const Row& b) {
            return std::tie(a.frame, a.parent, a.precursor) < std::tie(b.frame, b.parent, b.precursor);
        });
        std::map<std::int64_t, std::vector<int>> sums;
        Result result;
        for (auto row = sorted.begin(); row != sorted.end(); ++row) {
            const auto isLater = [&](const Row& other) {
                return other.precursor == row->precursor && other.frame > row->frame;
            };
            if (std::find(ids.begin(), ids.end(), row->precursor) != ids.end()) {
                add(sums[row->precursor], *row);
                if (std::none_of(row + 1, sorted.end(), isLater)) {
                    emit(analysis, *row, sums[row->precursor], result);
                    std::erase(ids, row->precursor);
                }
            }
        }
        return result;
    }

    AnalysisBuilder builder;

private:
    struct Row {
        std::int64_t parent;
        std::int64_t frame;
        std::int64_t precursor;
        std::uint32_t begin;
        std::uint32_t end;
    };

    void add(std::vector<int>& profile, const Row& row) const {
        std::size_t bins = std::max<std::size_t>(profile.size(), 100);
        std::vector<fixtures::Peak> peaks;
        for (std::uint32_t scan = row.begin; scan < row.end; ++scan) {
            fixtures::Scan kept = frames.at(row.frame).at(scan);
            std::erase_if(kept, [](const fixtures::Peak& peak) { return peak.index >= kBins; });
            bins = kept.empty() ? bins : std::max<std::size_t>(bins, kept.back().index + 100);
            peaks.insert(peaks.end(), kept.begin(), kept.end());
        }
        profile.resize(bins);
        for (const fixtures::Peak& peak : peaks) {
            profile[peak.index] =
                static_cast<int>(static_cast<std::uint32_t>(profile[peak.index]) + peak.intensity);
        }
    }

    static void emit(const api::Analysis& analysis, const Row& row, const std::vector<int>& profile,
                     Result& result) {
        const reference::WidthModel model = row.parent == 1 ? reference::WidthModel{300, 24000, 0.2, 15000}
                                                            : reference::WidthModel{300, 21000, 0.25, 15000};
        reference::Peaks peaks = reference::findPeaks(profile, model);
        Line line{row.precursor, std::vector<double>(peaks.positions.size()), peaks.intensities};
        EXPECT_EQ(kova_index_to_mz(analysis.handle, row.parent, peaks.positions.data(), line.mz.data(),
                                   static_cast<std::uint32_t>(line.mz.size())),
                  1U);
        result.lines.push_back(line);
        result.profiles.push_back({row.precursor, profile});
    }

    std::vector<Row> rows;
    std::map<std::int64_t, std::int64_t> parents;
    std::map<std::int64_t, Frame> frames;
};

Frame randomFrame(fixtures::Random& random, std::size_t scans) {
    Frame frame(scans);
    const bool isHuge = random.below(5) == 0;
    for (fixtures::Scan& scan : frame) {
        std::uint32_t index = random.below(400);
        for (std::uint32_t peaks = random.below(60); peaks > 0; --peaks) {
            index += random.below(3) == 0 ? 1 + random.below(20'000) : 1 + random.below(3);
            scan.push_back({index, isHuge ? random() >> 1 : 1 + random.below(1000)});
        }
    }
    return frame;
}

class ZorelMsMs : public testing::TestWithParam<int> {};

INSTANTIATE_TEST_SUITE_P(Compression, ZorelMsMs, testing::Values(1, 2),
                         [](const auto& each) { return "Type" + std::to_string(each.param); });

TEST_P(ZorelMsMs, SpectraEqualThePlainFormInTheOrderOfTheirLastFrames) {
    constexpr std::uint32_t kScans = 40;
    fixtures::Random random(17);
    ZorelRun run(GetParam());
    std::vector<std::int64_t> all = {77};  // has no rows
    for (std::int64_t frame = 3; frame < 15; ++frame) {
        run.setFrame(frame, randomFrame(random, kScans));
    }
    for (std::int64_t precursor = 30; precursor > 0; --precursor) {
        const std::uint32_t begin = random.below(kScans);
        const std::uint32_t end = begin + random.below(kScans + 1 - begin);  // some are empty
        const std::int64_t last = 4 + random.below(12);
        for (std::int64_t frame = 3 + random.below(2); frame < last; frame += 1 + random.below(3)) {
            run.measure(precursor, 1 + precursor % 2, frame, begin, end);
        }
        all.push_back(precursor);
    }
    const api::Analysis analysis(run.build());
    const auto check = [&](const Result& result, const std::vector<std::int64_t>& ids) {
        const Result expected = run.expected(analysis, ids);
        EXPECT_EQ(result.error, "");
        EXPECT_EQ(result.lines, expected.lines);
        EXPECT_EQ(result.profiles, expected.profiles);
    };
    check(readList(analysis, all), all);
    check(readList(analysis, {5, 5, 28, 11}), {5, 28, 11});
    check(readList(analysis, {}), {});
    std::vector<std::int64_t> ofFrame2;
    std::copy_if(all.begin(), all.end(), std::back_inserter(ofFrame2),
                 [](std::int64_t id) { return id < 77 && id % 2 == 1; });
    check(readFrame(analysis, 2), ofFrame2);
    check(readFrame(analysis, 3), {});
    check(readFrame(analysis, -9), {});
}

TEST_P(ZorelMsMs, ProfilesReachHundredBinsBeyondTheLastPeak) {
    ZorelRun run(GetParam());
    // Scans: nothing, two peaks, one at the last bin, only one that has no bin.
    run.setFrame(3, {{}, {{7, 1}, {500, 2}}, {{kBins - 1, 3}}, {{kBins, 4}}});
    run.setFrame(4, {{{9, 1}}, {{9, 1}}, {}, {}});
    run.measure(1, 1, 3, 0, 1);
    run.measure(2, 1, 3, 0, 2);
    run.measure(3, 1, 3, 0, 4);
    run.measure(4, 1, 3, 3, 4);
    run.measure(5, 1, 3, 2, 2);
    run.measure(6, 1, 3, 1, 2);
    run.measure(6, 1, 4, 1, 2);
    run.measure(7, 1, 4, 0, 1);
    run.measure(7, 1, 4, 0, 1);
    const api::Analysis analysis(run.build());
    const Result result = readList(analysis, {1, 2, 3, 4, 5, 6, 7});
    std::vector<std::size_t> bins;
    for (const Profile& profile : result.profiles) {
        bins.push_back(profile.bins.size());
    }
    EXPECT_EQ(bins, (std::vector<std::size_t>{100, 600, kBins + 99, 100, 100, 600, 109}));
    EXPECT_EQ(result.profiles, run.expected(analysis, {1, 2, 3, 4, 5, 6, 7}).profiles);
    EXPECT_EQ(result.profiles.back().bins[9], 1) << "handed over after the first pass over its last frame";
}

TEST_P(ZorelMsMs, IntensitiesAreNormalisedAsByReadingScans) {
    for (const auto& [schema, expected] : {std::pair(1, 6), std::pair(2, 3), std::pair(3, 2)}) {
        const api::Analysis analysis(AnalysisBuilder()
                                         .compression(GetParam())
                                         .schema(schema)
                                         .frame({{{50, 6}}}, {.accumulationTime = 300.0, .rampTime = 150.0})
                                         .precursor({.id = 1, .parent = 1})
                                         .zorelMsMs(1, 1, 0, 1));
        EXPECT_EQ(readList(analysis, {1}).profiles.at(0).bins.at(50), expected) << schema;
    }
}

}  // namespace
