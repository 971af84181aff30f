// What callers may do wrong, and may do at any time.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <limits>
#include <thread>

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
    const auto ofRange = [](kvr_range range, const kvr_range* kvr_query::*member) {
        kvr_query query = run::emptyQuery();
        static kvr_range kept;
        kept = range;
        query.*member = &kept;
        return query;
    };
    kvr_query level = run::emptyQuery();
    level.ms_level = 3;
    kvr_query scans = run::emptyQuery();
    scans.scan_begin = 5;
    scans.scan_end = 4;
    kvr_query listed = run::emptyQuery();
    listed.num_frames = 1;
    kvr_query sizeless = run::emptyQuery();
    sizeless.size = 0;
    const auto peaksOf = [&](const kvr_query& query) {
        return run::failureOf(
            [&](ArrowArrayStream* stream) { return kvr_peaks(opened.run, &query, 0, nullptr, stream); });
    };
    EXPECT_EQ(peaksOf(ofRange({2, 1}, &kvr_query::mz)), "The range of m/z ends before it begins.");
    EXPECT_EQ(peaksOf(ofRange({kNaN, 1}, &kvr_query::one_over_k0)),
              "The range of 1/K0 has a bound that is not a number.");
    EXPECT_EQ(peaksOf(ofRange({0, kNaN}, &kvr_query::time)),
              "The range of time has a bound that is not a number.");
    EXPECT_EQ(peaksOf(ofRange({kInfinity, kInfinity}, &kvr_query::mz)), "");
    EXPECT_EQ(peaksOf(ofRange({-kInfinity, kInfinity}, &kvr_query::mz)), "");
    EXPECT_EQ(peaksOf(level), "There is no MS level 3.");
    EXPECT_EQ(peaksOf(scans), "The range of scans ends before it begins.");
    EXPECT_EQ(peaksOf(listed), "The query has a number of frames, and no frames.");
    EXPECT_EQ(peaksOf(sizeless), "The size of kvr_query is not set.");

    const kvr_target all = {{-kInfinity, kInfinity}, {-kInfinity, kInfinity}, {-kInfinity, kInfinity}};
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
    EXPECT_NE(run::failureOf([&](ArrowArrayStream* stream) { return kvr_table(opened.run, 99, stream); }),
              "");
    EXPECT_NE(run::failureOf([&](ArrowArrayStream* stream) {
                  return kvr_spectra(opened.run, nullptr, 0, nullptr, stream);
              }),
              "");
    EXPECT_EQ(run::failureOf([&](ArrowArrayStream* stream) {
                  return kvr_msms(opened.run, nullptr, 0, nullptr, 0, nullptr, stream);
              }),
              "");
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
        const pid_t child = fork();
        if (child == 0) {
            alarm(20);  // instead of hanging
            const bool isRefused =
                stream.next(rows) == EIO && run::lastError().find("another process") != std::string::npos;
            stream.end();
            kvr_run* const again = kvr_open(opened.directory.path().c_str(), nullptr);
            _exit(isRefused && again != nullptr ? 0 : 1);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
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
