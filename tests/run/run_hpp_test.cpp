#include "kovadata/run.hpp"

#include <gtest/gtest.h>

#include <array>

#include "fixtures/small_analyses.h"
#include "fixtures/temp_directory.h"

namespace {

TEST(RunHpp, GivesBatchesOfEveryKind) {
    const fixtures::TempDirectory directory;
    fixtures::smallZorelRun(2).write(directory.path());
    std::optional<kova::Run> run(std::in_place, directory.string());
    kova::Control singly;
    singly.batch_size = 1;
    kova::Query query;
    query.mz = kvr_range{0.0, 1e9};
    const std::array<std::int64_t, 1> second = {2};
    query.frames = second;
    std::vector<std::uint32_t> indices;
    for (const kova::Batch& batch : run->peaks(query, KVR_COLUMN_TOF_INDEX, singly)) {
        ASSERT_EQ(batch.rows(), 1U);
        indices.push_back(batch.values<std::uint32_t>(0)[0]);
    }
    EXPECT_EQ(indices, (std::vector<std::uint32_t>{2000, 3000, 3001, 3002, 5000, 4000}));
    query.frames = std::span<const std::int64_t>();
    EXPECT_FALSE(run->peaks(query).next());

    const std::array<kvr_target, 2> targets = {{{{0, 1}, {0, 9}, {0, 9}}, {{0, 1e9}, {-1e9, 1e9}, {0, 9}}}};
    const std::optional<kova::Batch> rows = run->chromatograms(targets, {}, KVR_REDUCE_COUNT).next();
    ASSERT_TRUE(rows);
    EXPECT_EQ(rows->list<std::uint64_t>(2, 1, 2)[1], 6U);
    EXPECT_THROW(static_cast<void>(rows->list<std::uint64_t>(2, 2, 2)), std::out_of_range);
    EXPECT_THROW(static_cast<void>(rows->values<double>(3)), std::out_of_range);

    kova::Stream spectra = run->msms();
    run.reset();
    const std::optional<kova::Batch> lines = spectra.next();
    ASSERT_TRUE(lines);
    EXPECT_EQ(lines->list<double>(1, 0).size(), lines->list<float>(2, 0).size());
}

TEST(RunHpp, RaisesTheTextsOfTheLibrary) {
    try {
        const kova::Run run("no/such/directory");
        FAIL();
    } catch (const kova::Error& error) {
        EXPECT_STREQ(error.what(), "Specified analysis directory does not exist.");
    }
}

}  // namespace
