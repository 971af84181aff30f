// What callers may do wrong, and may do at any time.

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <limits>
#include <thread>

#include "fixtures/child.h"
#include "fixtures/small_analyses.h"
#include "fixtures/writer_process.h"
#include "run/table.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

fixtures::AnalysisBuilder frames(int count) {
    fixtures::AnalysisBuilder builder;
    for (int i = 1; i <= count; ++i) {
        builder.frame({{{100, 5}, {2000, 7}}, {}, {{3000, 4}}});
    }
    return builder;
}

// Each peak in a batch of its own.
kvr_control singly(std::uint32_t threads) { return run::control(threads, 1); }

TEST(Queries, ThatMeanNothingAreRefusedWithAText) {
    const run::OpenRun opened(frames(2));
    constexpr kvr_range kBackwards = {2, 1};
    constexpr kvr_range kFromNan = {kNaN, 1};
    constexpr kvr_range kToNan = {0, kNaN};
    constexpr kvr_range kBeyond = {kInfinity, kInfinity};
    constexpr kvr_range kEverything = {-kInfinity, kInfinity};
    constexpr auto kSize = static_cast<std::uint32_t>(sizeof(kvr_query));
    const std::pair<kvr_query, const char*> cases[] = {
        {{.size = kSize, .mz = &kBackwards}, "The range of m/z ends before it begins."},
        {{.size = kSize, .one_over_k0 = &kFromNan}, "The range of 1/K0 has a bound that is not a number."},
        {{.size = kSize, .time = &kToNan}, "The range of time has a bound that is not a number."},
        {{.size = kSize, .mz = &kBeyond}, ""},
        {{.size = kSize, .mz = &kEverything}, ""},
        {{.size = kSize, .ms_level = 3}, "There is no MS level 3."},
        {{.size = kSize, .scan_begin = 5, .scan_end = 4}, "The range of scans ends before it begins."},
        {{.size = kSize, .num_frames = 1}, "The query has a number of frames, and no frames."},
        {{}, "The size of kvr_query is not set."},
    };
    for (const auto& [query, text] : cases) {
        EXPECT_EQ(run::failureOf([&, &asked = query](ArrowArrayStream* stream) {
                      return kvr_peaks(opened.run, &asked, 0, nullptr, stream);
                  }),
                  text);
    }
    const kvr_target all = {kEverything, kEverything, kEverything};
    const auto chromatograms = [&](const kvr_target* targets, std::uint64_t count) {
        return run::failureOf([&](ArrowArrayStream* stream) {
            return kvr_chromatograms(opened.run, nullptr, targets, count, KVR_REDUCE_SUM, nullptr, stream);
        });
    };
    EXPECT_EQ(chromatograms(nullptr, 0), "");
    EXPECT_NE(chromatograms(nullptr, 1), "");
    EXPECT_NE(chromatograms(&all, UINT64_MAX), "");
    EXPECT_EQ(kvr_peaks(nullptr, nullptr, 0, nullptr, nullptr), 0U);
    EXPECT_EQ(kvr_peaks(opened.run, nullptr, 1U << 20, nullptr, nullptr), 0U);
}

TEST(Queries, ByMzNeedACalibrationAndOthersGiveNull) {
    fixtures::AnalysisBuilder builder;
    builder.frame({{{100, 5}}}).frame({{{200, 6}}}, {.mzCalibration = 9});
    const run::OpenRun opened(builder);
    run::Table table = run::read(
        [&](ArrowArrayStream* stream) { return kvr_peaks(opened.run, nullptr, 0, nullptr, stream); });
    ASSERT_EQ(table["mz"].size(), 2U);
    EXPECT_EQ(table["mz"][0].size(), 1U);
    EXPECT_EQ(table["mz"][1].size(), 0U);
    kvr_query query = run::emptyQuery();
    const kvr_range mz = {0, 1e6};
    query.mz = &mz;
    EXPECT_EQ(run::failureOf([&](ArrowArrayStream* stream) {
                  return kvr_peaks(opened.run, &query, 0, nullptr, stream);
              }),
              "No m/z trafo available.");
}

TEST(Streams, AreReleasedCancelledAndOutliveTheirRun) {
    for (const std::uint32_t threads : {1U, 3U}) {
        run::OpenRun opened(frames(60));
        kvr_control control = singly(threads);
        run::Stream released;
        run::Stream outliving;
        run::Stream cancelled;
        std::int64_t rows = 0;
        ASSERT_EQ(kvr_peaks(opened.run, nullptr, 0, &control, &released), 1U);
        ASSERT_EQ(released.next(rows), 0);
        released.end();
        ASSERT_EQ(kvr_peaks(opened.run, nullptr, 0, &control, &outliving), 1U);
        int calls = 0;
        control.context = &calls;
        control.progress = [](void* context, std::uint64_t, std::uint64_t total) {
            EXPECT_EQ(total, 60U);
            return static_cast<std::uint32_t>(++*static_cast<int*>(context) < 3);
        };
        ASSERT_EQ(kvr_peaks(opened.run, nullptr, 0, &control, &cancelled), 1U);
        opened.close();
        std::int64_t count = 0;
        do {
            ASSERT_EQ(outliving.next(rows), 0);
            count += rows;
        } while (rows != 0);
        EXPECT_EQ(count, 180);
        int code = 0;
        while (code == 0) {
            code = cancelled.next(rows);
        }
        EXPECT_EQ(code, ECANCELED);
        EXPECT_EQ(cancelled.next(rows), ECANCELED);
        EXPECT_STREQ(cancelled.get_last_error(&cancelled), "Cancelled by the caller.");
        EXPECT_EQ(calls, 3);
    }
}

TEST(Streams, AreRefusedInAForkedChildAndGoOnInTheParent) {
    for (const std::uint32_t threads : {1U, 3U}) {
        const run::OpenRun opened(frames(60));
        const kvr_control control = singly(threads);
        run::Stream stream;
        std::int64_t rows = 0;
        ASSERT_EQ(kvr_peaks(opened.run, nullptr, 0, &control, &stream), 1U);
        ASSERT_EQ(stream.next(rows), 0);
        EXPECT_EQ(fixtures::inChild([&] {
                      const int code = stream.next(rows);
                      const std::string text = run::lastError();
                      stream.end();
                      return kvr_open(opened.directory.path().c_str(), nullptr) != nullptr && code == EIO
                                 ? text
                                 : "";
                  }),
                  "The run was opened by another process; open it in this one.");
        run::Table rest;
        EXPECT_EQ(stream.readAll(rest), 0);
        EXPECT_EQ(rest["mz"].size(), 179U);
    }
}

class StreamsBesideWriters : public testing::TestWithParam<const char*> {};

TEST_P(StreamsBesideWriters, GiveTheFramesThatThereWereAndTheNextOnesGiveMore) {
    const run::OpenRun opened(frames(40));
    const kvr_control control = singly(2);
    run::Stream stream;
    std::int64_t rows = 0;
    fixtures::WriterProcess writer(opened.directory.path() / "analysis.kvd");
    EXPECT_EQ(writer.execute("PRAGMA busy_timeout=10000"), "");
    EXPECT_EQ(writer.execute(std::string("PRAGMA journal_mode=") + GetParam()), "");
    ASSERT_EQ(kvr_peaks(opened.run, nullptr, 0, &control, &stream), 1U);
    ASSERT_EQ(stream.next(rows), 0);
    EXPECT_EQ(writer.execute("INSERT INTO Frames (Id, Time, KovaId, MzCalibration, KovaCalibration, "
                             "AccumulationTime, RampTime) "
                             "SELECT Id + 100, Time, KovaId, MzCalibration, KovaCalibration, "
                             "AccumulationTime, RampTime FROM Frames"),
              "");
    ASSERT_EQ(stream.next(rows), 0);
    EXPECT_EQ(writer.execute("PRAGMA wal_checkpoint(TRUNCATE)"), "");
    ASSERT_EQ(stream.next(rows), 0);
    writer.kill();
    run::Table rest;
    EXPECT_EQ(stream.readAll(rest), 0) << run::lastError();
    EXPECT_EQ(rest["frame"].size(), 117U);
    EXPECT_EQ(rest["frame"].back()[0], 40);
    EXPECT_EQ(run::read([&](ArrowArrayStream* out) {
                  return kvr_peaks(opened.run, nullptr, 0, &control, out);
              })["frame"]
                  .size(),
              240U);
}

INSTANTIATE_TEST_SUITE_P(Modes, StreamsBesideWriters,
                         testing::Values("DELETE", "TRUNCATE", "PERSIST", "WAL"));

TEST(Streams, NeedMemoryThatTheBudgetAllows) {
    const run::OpenRun opened(frames(3), {.memory_budget = 1000});
    kvr_axis x = {KVR_AXIS_MZ, 100, 0, 2000};
    kvr_axis y = {KVR_AXIS_TIME, 100, 0, 10};
    EXPECT_NE(run::failureOf([&](ArrowArrayStream* stream) {
                  return kvr_image(opened.run, nullptr, &x, &y, KVR_REDUCE_SUM, nullptr, stream);
              }).find("memory budget"),
              std::string::npos);
    const kvr_control control = run::control(3);
    EXPECT_EQ(run::read([&](ArrowArrayStream* stream) {
                  return kvr_peaks(opened.run, nullptr, KVR_COLUMN_SCAN, &control, stream);
              })["scan"]
                  .size(),
              9U);
}

TEST(Streams, AreReadOnTwoThreadsAtOnce) {
    const run::OpenRun opened(frames(40));
    const auto work = [&] {
        for (int i = 0; i < 5; ++i) {
            const kvr_control control = singly(2);
            EXPECT_EQ(run::read([&](ArrowArrayStream* stream) {
                          return kvr_peaks(opened.run, nullptr, 0, &control, stream);
                      })["mz"]
                          .size(),
                      120U);
        }
    };
    std::thread other(work);
    work();
    other.join();
}

}  // namespace
