// Everything that a run gives for random queries, held against the plain form.

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

#include "fixtures/random.h"
#include "run/query_maker.h"

namespace {

struct Case {
    const char* name;
    int compression;
    const char* measured = nullptr;  // directory among the measured analyses, in place of a random run
    int rounds = 60;
};

class Reductions : public testing::TestWithParam<Case> {
protected:
    void SetUp() override {
        const std::filesystem::path directory = KOVADATA_MEASURED_DATA "/analyses";
        if (GetParam().measured == nullptr) {
            opened.emplace(run::randomRun(GetParam().compression, 14, 20));
        } else if (std::filesystem::exists(directory / GetParam().measured)) {
            opened.emplace(directory / GetParam().measured);
        } else {
            GTEST_SKIP() << "There are no measured analyses in " << directory;
        }
        known.emplace(opened->run);
        maker.emplace(random, *known, false);
    }

    // Calls check(round, query, read), where `read` gives a table that is the same whatever the number of threads and the size of
    // batches.
    void forQueries(const auto& check) {
        using Make = std::function<std::uint32_t(const kvr_control*, ArrowArrayStream*)>;
        for (std::uint32_t round = 0; round < static_cast<std::uint32_t>(GetParam().rounds); ++round) {
            run::MadeQuery made;
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

    fixtures::Random random{7};
    std::optional<run::OpenRun> opened;
    std::optional<run::KnownRun> known;
    std::optional<run::QueryMaker<fixtures::Random>> maker;
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
        std::vector<kvr_target> targets(random.below(40));
        std::generate(targets.begin(), targets.end(), [&] { return maker->target(); });
        const auto intensities = [&](decltype(&kvr_chromatograms) function) {
            return read([&](const kvr_control* control, ArrowArrayStream* stream) {
                return function(opened->run, &query, targets.data(), targets.size(), reduce, control, stream);
            })["intensity"];
        };
        EXPECT_EQ(known->chromatograms(query, targets, reduce), intensities(kvr_chromatograms)) << round;
        EXPECT_EQ(known->mobilograms(query, targets, reduce), intensities(kvr_mobilograms)) << round;
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
                         testing::Values(Case{"ScansCompressed", 1}, Case{"FramesCompressed", 2},
                                         Case{"MeasuredScans", 1, "peptides_scheme1", 8},
                                         Case{"MeasuredFrames", 2, "lcms_scheme2", 8}),
                         [](const auto& each) { return each.param.name; });

}  // namespace
