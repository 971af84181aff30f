// Everything that a run gives for random queries, held against the plain form.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <optional>

#include "fixtures/random.h"
#include "run/known_run.h"

namespace {

using run::KnownPeak;

// A query and what it points to.
struct MadeQuery {
    MadeQuery() = default;
    MadeQuery(const MadeQuery&) = delete;
    MadeQuery& operator=(const MadeQuery&) = delete;

    kvr_query query = run::emptyQuery();
    kvr_range mz{};
    kvr_range mobility{};
    kvr_range time{};
    std::vector<std::int64_t> frames;
};

// Makes sound queries. Bounds are those of peaks, so that it matters that ranges are closed.
class QueryMaker {
public:
    explicit QueryMaker(const run::KnownRun& run) : known(run) {}

    std::uint32_t below(std::uint32_t end) { return random.below(end); }

    void fill(MadeQuery& made) {
        made.mz = range(&KnownPeak::mz);
        made.mobility = known.hasMobilities() ? range(&KnownPeak::mobility) : kWhole;
        made.time = range(&KnownPeak::time);
        kvr_query& query = made.query;
        query.mz = maybe(made.mz);
        query.one_over_k0 = known.hasMobilities() ? maybe(made.mobility) : nullptr;
        query.time = maybe(made.time);
        query.ms_level = below(3);
        query.intensities = below(3);
        query.scan_begin = below(10);
        query.scan_end = below(2) == 0 ? 0 : query.scan_begin + below(30) + 1;
        if (below(3) == 0) {
            const auto count = static_cast<std::uint32_t>(known.frames().size());
            made.frames.resize(below(2 * count));
            for (std::int64_t& id : made.frames) {
                id = known.frames()[below(count)].id;
            }
            made.frames.reserve(1);  // an empty list is one, too
            query.frames = made.frames.data();
            query.num_frames = made.frames.size();
        }
    }

    kvr_target target() {
        return {range(&KnownPeak::mz), known.hasMobilities() ? range(&KnownPeak::mobility) : kWhole,
                range(&KnownPeak::time)};
    }

    kvr_axis axis(std::uint32_t kind) {
        const kvr_range ends = betweenPeaks(run::valueOf(kind));
        const double beyond = below(4) == 0 ? 5000.0 : 0.0;  // everything inside
        return {kind, 1 + below(below(4) == 0 ? 300 : 20), ends.low - beyond,
                ends.high + beyond + (ends.low == ends.high ? 1.0 : 0.0)};
    }

private:
    static constexpr double kInfinity = std::numeric_limits<double>::infinity();
    static constexpr kvr_range kWhole = {-kInfinity, kInfinity};

    const kvr_range* maybe(const kvr_range& given) { return below(3) == 0 ? nullptr : &given; }

    kvr_range range(double KnownPeak::*value) { return below(4) == 0 ? kWhole : betweenPeaks(value); }

    kvr_range betweenPeaks(double KnownPeak::*value) {
        const auto count = static_cast<std::uint32_t>(known.peaks().size());
        const double a = known.peaks()[below(count)].*value;
        const double b = known.peaks()[below(count)].*value;
        return std::isnan(a + b) ? betweenPeaks(value) : kvr_range{std::min(a, b), std::max(a, b)};
    }

    fixtures::Random random{7};
    const run::KnownRun& known;
};

struct ReductionCase {
    const char* name;
    int compression;
    const char* measured = nullptr;  // directory among the measured analyses, in place of a random run
    int rounds = 60;
};

class Reductions : public testing::TestWithParam<ReductionCase> {
protected:
    void SetUp() override {
        const std::filesystem::path directory = KOVADATA_MEASURED_DATA "/analyses";
        if (GetParam().measured == nullptr) {
            opened.emplace(run::randomRun(GetParam().compression, 14, 20)
                               .sql("UPDATE Frames SET Time=NULL, MsMsType=NULL WHERE Id=4"));
        } else if (std::filesystem::exists(directory / GetParam().measured)) {
            opened.emplace(directory / GetParam().measured);
        } else {
            GTEST_SKIP() << "There are no measured analyses in " << directory;
        }
        known.emplace(opened->run);
        maker.emplace(*known);
    }

    // Calls check(round, query, read), where `read` gives a table that is the same whatever the number of threads and the size of
    // batches.
    void forQueries(const auto& check) {
        using Make = std::function<std::uint32_t(const kvr_control*, ArrowArrayStream*)>;
        for (std::uint32_t round = 0; round < static_cast<std::uint32_t>(GetParam().rounds); ++round) {
            MadeQuery made;
            maker->fill(made);
            check(round, made.query, [&](const Make& make) {
                std::optional<run::Table> first;
                for (const auto& [threads, batchSize] :
                     {std::pair(1U, 0), std::pair(3U, 7), std::pair(2U, 0)}) {
                    const kvr_control control = run::control(threads, static_cast<std::uint64_t>(batchSize));
                    const run::Table table =
                        run::read([&](ArrowArrayStream* stream) { return make(&control, stream); },
                                  batchSize == 0 ? INT64_MAX : batchSize);
                    if (!first) {
                        first = table;
                    }
                    EXPECT_TRUE(*first == table) << threads << " threads, query " << round;
                }
                return *first;
            });
        }
    }

    std::optional<run::OpenRun> opened;
    std::optional<run::KnownRun> known;
    std::optional<QueryMaker> maker;
};

TEST_P(Reductions, PeaksOfQueriesAreThoseInTheBox) {
    forQueries([&](std::uint32_t round, const kvr_query& query, const auto& read) {
        EXPECT_TRUE(known->peakTable(query) ==
                    read([&](const kvr_control* control, ArrowArrayStream* stream) {
                        return kvr_peaks(opened->run, &query, 255, control, stream);
                    }))
            << "query " << round;
    });
}

TEST_P(Reductions, ChromatogramsAndMobilogramsReduceTheirTargets) {
    forQueries([&](std::uint32_t round, const kvr_query& query, const auto& read) {
        const std::uint32_t reduce = round % 3;
        std::vector<kvr_target> targets(maker->below(40));
        std::generate(targets.begin(), targets.end(), [&] { return maker->target(); });
        for (const auto& [function, rows] : {std::pair(&kvr_chromatograms, run::Rows::Frames),
                                             std::pair(&kvr_mobilograms, run::Rows::Scans)}) {
            EXPECT_EQ(
                known->reduced(query, targets, reduce, rows),
                read([&, reduceTargets = function](const kvr_control* control, ArrowArrayStream* stream) {
                    return reduceTargets(opened->run, &query, targets.data(), targets.size(), reduce, control,
                                         stream);
                })["intensity"])
                << round;
        }
    });
}

TEST_P(Reductions, SpectraAreSummedAtTheNearestIndexOfTheFirstFrame) {
    forQueries([&](std::uint32_t round, const kvr_query& query, const auto& read) {
        EXPECT_TRUE(known->summedSpectrum(query) ==
                    read([&](const kvr_control* control, ArrowArrayStream* stream) {
                        return kvr_summed_spectrum(opened->run, &query, control, stream);
                    }))
            << "query " << round;
    });
}

TEST_P(Reductions, ImagesHoldPeaksInTheirCells) {
    forQueries([&](std::uint32_t round, const kvr_query& query, const auto& read) {
        const std::uint32_t kinds = known->hasMobilities() ? 3 : 2;
        kvr_axis x = maker->axis(round % kinds);
        kvr_axis y = maker->axis((round + 1 + round / kinds % (kinds - 1)) % kinds);
        EXPECT_EQ(known->image(query, x, y, round % 3),
                  read([&](const kvr_control* control, ArrowArrayStream* stream) {
                      return kvr_image(opened->run, &query, &x, &y, round % 3, control, stream);
                  })["values"])
            << round;
    });
}

INSTANTIATE_TEST_SUITE_P(Runs, Reductions,
                         testing::Values(ReductionCase{"ScansCompressed", 1},
                                         ReductionCase{"FramesCompressed", 2},
                                         ReductionCase{"MeasuredScans", 1, "peptides_scheme1", 8},
                                         ReductionCase{"MeasuredFrames", 2, "lcms_scheme2", 8}),
                         [](const auto& each) { return each.param.name; });

}  // namespace
