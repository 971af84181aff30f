// What callers may do wrong, and may do at any time.

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <limits>
#include <thread>

#include "fixtures/child.h"
#include "fixtures/small_analyses.h"
#include "fixtures/writer_process.h"
#include "kovadata/kova.h"
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

// Slopes without bounds give the scans at both ends of the calibrated interval no 1/K0.
TEST(Queries, By1OverK0LeaveOutScansInTheMiddle) {
    fixtures::AnalysisBuilder builder;
    builder.frame({{{1, 1}}, {{2, 2}}, {{3, 4}}, {{4, 8}}, {{5, 16}}});
    const run::OpenRun opened(builder.kovaCalibration({.coefficients = {0, 4, 5, 1, 0, 1, 0, 1e-200, 2, 4}}));
    constexpr kvr_range kEverything = {-kInfinity, kInfinity};
    constexpr kvr_target kAll = {kEverything, kEverything, kEverything};
    kvr_query query = run::emptyQuery();
    query.one_over_k0 = &kEverything;
    run::Table peaks = run::read(
        [&](ArrowArrayStream* stream) { return kvr_peaks(opened.run, &query, 0, nullptr, stream); });
    EXPECT_EQ(peaks["intensity"], (std::vector<std::vector<double>>{{1}, {4}, {16}}));
    run::Table sums = run::read([&](ArrowArrayStream* stream) {
        return kvr_chromatograms(opened.run, &query, &kAll, 1, KVR_REDUCE_SUM, nullptr, stream);
    });
    EXPECT_EQ(sums["intensity"], (std::vector<std::vector<double>>{{21}}));
}

TEST(Queries, ByMzNeedACalibrationAndOthersGiveNull) {
    fixtures::AnalysisBuilder builder;
    builder.frame({{{100, 5}}}).frame({{{200, 6}}}, {.mzCalibration = 9});
    const run::OpenRun opened(builder);
    kvr_control control = run::control(1);
    run::Table table = run::read(
        [&](ArrowArrayStream* stream) { return kvr_peaks(opened.run, nullptr, 0, &control, stream); });
    ASSERT_EQ(table["mz"].size(), 2U);
    EXPECT_EQ(table["mz"][0].size(), 1U);
    EXPECT_EQ(table["mz"][1].size(), 0U);
    kvr_query query = run::emptyQuery();
    const kvr_range mz = {0, 1e6};
    query.mz = &mz;
    using Failure = std::pair<int, std::string>;
    const auto failure = [&](const char* change) {
        fixtures::WriterProcess(opened.directory / "analysis.kvd").execute(change);
        run::Stream stream;
        EXPECT_EQ(kvr_peaks(opened.run, &query, 0, &control, &stream), 1U);
        const int code = stream.readAll(table);
        return Failure{code, code == 0 ? "" : stream.get_last_error(&stream)};
    };
    EXPECT_EQ(failure(""), (Failure{EIO, "No m/z trafo available."}));
    control.skip_damaged = 1;  // a database that fails is no damaged frame
    EXPECT_EQ(failure("DROP TABLE MzCalibration"), (Failure{EIO, "no such table: MzCalibration"}));
    query.one_over_k0 = &mz;
    EXPECT_EQ(failure("UPDATE KovaCalibration SET C1=0"), (Failure{EINVAL, "ncycles must be > 0."}));
}

// As programs write what they do not know, and what nobody has counted.
TEST(Tables, HaveNullForWhatIsNotKnown) {
    const fixtures::TempDirectory directory;
    fixtures::AnalysisBuilder builder;
    builder.frame({{{1, 1}}}).frame({{{2, 2}}}).sql("UPDATE Frames SET NumScans=7-4*Id*Id");
    builder.precursor({.id = 1, .parent = 1, .largestPeakMz = 500.0, .monoisotopicMz = 0.0, .charge = 0});
    builder.precursor({.id = 2, .parent = 2, .charge = 2}).zorelMsMs(1, 1, 7, 9).zorelMsMs(1, 2, 3, 5);
    builder.write(directory.path());
    fixtures::writeSmallCalibrationStore(directory.path());
    fixtures::WriterProcess(directory / "calibration.sqlite").execute("DROP TABLE KovaCalibrationMapping");
    const run::OpenRun opened(directory.path());
    const std::tuple<std::uint32_t, const char*, std::vector<std::vector<double>>> cases[] = {
        {KVR_TABLE_FRAMES, "scans", {{3}, {}}},      {KVR_TABLE_PRECURSORS, "mz", {{500}, {}}},
        {KVR_TABLE_PRECURSORS, "charge", {{}, {2}}}, {KVR_TABLE_ISOLATIONS, "precursor", {{2}, {1}}},
        {KVR_TABLE_STATES, "mass_frames", {{2}}},    {KVR_TABLE_STATES, "mobility_frames", {{}}}};
    for (const auto& [kind, column, values] : cases) {
        EXPECT_EQ(run::read([&, asked = kind](ArrowArrayStream* stream) {
                      return kvr_table(opened.run, asked, stream);
                  })[column],
                  values)
            << column;
    }
}

// Of two frames of one calibration, to which a re-calibrated state gives two.
TEST(Tables, Have1OverK0ByTheStateInUse) {
    const fixtures::TempDirectory directory;
    fixtures::AnalysisBuilder builder;
    builder.frame({{}}).frame({{}}).precursor({.id = 1, .parent = 1, .scanNumber = 300.0});
    builder.precursor({.id = 2, .parent = 2, .scanNumber = 300.0}).write(directory.path());
    fixtures::writeSmallCalibrationStore(directory.path());
    EXPECT_EQ(fixtures::WriterProcess(directory / "calibration.sqlite")
                  .execute("CREATE TABLE T AS SELECT * FROM KovaCalibration; UPDATE T SET Id=2, C2=C2+5;"
                           "INSERT INTO KovaCalibration SELECT * FROM T;"
                           "UPDATE KovaCalibrationMapping SET KovaCalibrationId=2 WHERE FrameId=2"),
              "");
    const run::OpenRun opened(directory.path(), {.calibration = KVR_CALIBRATION_FIRST});
    std::vector<std::vector<double>> expected;
    for (const std::int64_t frame : {1, 2}) {
        double value = 300.0;
        kova_scannum_to_oneoverk0(kvr_lend_handle(opened.run), frame, &value, &value, 1);
        expected.push_back({value});
    }
    EXPECT_NE(expected[0], expected[1]);
    EXPECT_EQ(run::read([&](ArrowArrayStream* stream) {
                  return kvr_table(opened.run, KVR_TABLE_PRECURSORS, stream);
              })["one_over_k0"],
              expected);
}

// An axis that is left open has the range of the query, or else what the frames can hold.
TEST(Axes, AreCompletedOrRefusedWithAText) {
    const run::OpenRun opened(frames(2).digitizerSamples(5000).sql("UPDATE Frames SET Time=0"));
    const std::uint64_t handle = kova_open(opened.directory.path().c_str(), 0);
    const double indices[] = {0, 4999};
    const double scans[] = {2, 0};
    double masses[2]{};
    double mobilities[2]{};
    ASSERT_EQ(kova_index_to_mz(handle, 1, indices, masses, 2), 1U);
    ASSERT_EQ(kova_scannum_to_oneoverk0(handle, 1, scans, mobilities, 2), 1U);
    kova_close(handle);
    constexpr kvr_range kSome = {1, 2};
    constexpr kvr_range kHalfOpen = {1, kInfinity};
    kvr_query query = run::emptyQuery();
    const struct {
        kvr_axis axis;
        const kvr_range* asked;
        const char* text;
        double low = 0;
        double high = 0;
    } cases[] = {
        {{KVR_AXIS_MZ, 3, kNaN, kNaN}, nullptr, "", std::max(0.0, masses[0]), masses[1]},
        {{KVR_AXIS_MZ, 3, kNaN, kNaN}, &kSome, "", 1, 2},
        {{KVR_AXIS_MZ, 3, kNaN, kNaN}, &kHalfOpen, "", std::max(0.0, masses[0]), masses[1]},
        {{KVR_AXIS_MZ, 1U << 24, 5, 6}, nullptr, "", 5, 6},
        {{KVR_AXIS_ONE_OVER_K0, 3, kNaN, kNaN}, nullptr, "", mobilities[0], mobilities[1]},
        {{KVR_AXIS_ONE_OVER_K0, 3, kNaN, kNaN}, &kSome, "", 1, 2},
        {{KVR_AXIS_MZ, 3, kNaN, 6}, nullptr, "The axis of m/z has no range."},
        {{KVR_AXIS_MZ, 3, 6, 6}, nullptr, "The axis of m/z has no range."},
        {{KVR_AXIS_ONE_OVER_K0, 3, 0, kInfinity}, nullptr, "The axis of 1/K0 has no range."},
        {{KVR_AXIS_MZ, 0, 5, 6}, nullptr, "The axis of m/z cannot have 0 cells."},
        {{KVR_AXIS_MZ, (1U << 24) + 1, 5, 6}, nullptr, "The axis of m/z cannot have 16777217 cells."},
        {{3, 3, 5, 6}, nullptr, "There is no axis of kind 3."},
        {{KVR_AXIS_TIME, 3, 5, 6}, nullptr, "An image has two axes of different kinds."},
    };
    for (const auto& [axis, asked, text, low, high] : cases) {
        kvr_axis x = axis;
        kvr_axis time = {KVR_AXIS_TIME, 1, kNaN, kNaN};
        query.mz = axis.kind == KVR_AXIS_MZ ? asked : nullptr;
        query.one_over_k0 = axis.kind == KVR_AXIS_ONE_OVER_K0 ? asked : nullptr;
        run::Stream stream;
        const bool isMade = kvr_image(opened.run, &query, &x, &time, KVR_REDUCE_SUM, nullptr, &stream) == 1;
        EXPECT_EQ(isMade ? "" : run::lastError(), text) << axis.kind << ' ' << axis.low;
        if (isMade) {
            EXPECT_EQ(std::pair(x.low, x.high), std::pair(low, high)) << axis.kind << ' ' << axis.low;
            EXPECT_EQ(std::pair(time.low, time.high), std::pair(0.0, std::nextafter(0.0, 1.0)));
        }
    }
}

// Databases are kept open for a while, files of frames are not.
std::size_t openFilesOfFrames(const std::filesystem::path& analysis) {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code closedMeanwhile;
        count += std::filesystem::read_symlink(entry, closedMeanwhile) == analysis / "analysis.kvd_bin";
    }
    return count;
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
        EXPECT_EQ(openFilesOfFrames(opened.directory.path()), 0U) << "before the failed stream is released";
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

// The next ones are read on two threads at once.
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
    const auto timesOf = [&](const kvr_query* query) {
        return run::read([&](auto* out) { return kvr_peaks(opened.run, query, 255, &control, out); })["time"];
    };
    const std::int64_t written = 140;
    kvr_query query = run::emptyQuery();
    query.frames = &written;
    query.num_frames = 1;
    EXPECT_EQ(timesOf(&query).back().size(), 1U);
    const auto readAll = [&] { EXPECT_EQ(timesOf(nullptr).size(), 240U); };
    std::thread other(readAll);
    readAll();
    other.join();
}

INSTANTIATE_TEST_SUITE_P(Modes, StreamsBesideWriters,
                         testing::Values("DELETE", "TRUNCATE", "PERSIST", "WAL"));

TEST(Streams, NeedMemoryThatTheBudgetAllows) {
    const run::OpenRun opened(frames(3), {.memory_budget = 1000});
    kvr_axis x = {KVR_AXIS_MZ, 100, 0, 2000};
    kvr_axis y = {KVR_AXIS_TIME, 100, 0, 10};
    const std::function<std::uint32_t(ArrowArrayStream*)> cases[] = {
        [&](auto* out) { return kvr_image(opened.run, nullptr, &x, &y, KVR_REDUCE_SUM, nullptr, out); },
        [&, targets = std::vector<kvr_target>(21)](auto* out) {
            return kvr_chromatograms(opened.run, nullptr, targets.data(), 21, KVR_REDUCE_SUM, nullptr, out);
        }};
    for (const auto& make : cases) {
        EXPECT_NE(run::failureOf(make).find("memory budget"), std::string::npos);
    }
}

}  // namespace
