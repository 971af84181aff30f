// The n-th read, allocation, mapping, database step or thread fails, for every n until a call gets through: each failure has a
// text and leaves either a usable handle or, when opening, nothing at all.
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <numeric>
#include <thread>

#include <gtest/gtest.h>

#include "faults/faults.h"
#include "fixtures/process_state.h"
#include "fixtures/small_analyses.h"
#include "fixtures/temp_directory.h"
#include "fixtures/writer_process.h"
#include "kovadata/kova.h"
#include "kovadata/kvr.h"
#include "kovadata/kvs.h"
#include "run/table.h"

namespace {

using faults::Kind;

// What calls give, in memory that is there before anything can fail.
struct Results {
    std::vector<std::uint32_t> words = std::vector<std::uint32_t>(4096);
    std::vector<double> doubles = std::vector<double>(64);
    std::vector<float> floats = std::vector<float>(64);
    std::uint32_t spectra = 0;
    double sum = 0.0;

    friend bool operator==(const Results&, const Results&) = default;
};
Results results;

constexpr double kValues[] = {1.0, 200.0, 40000.0};
constexpr std::int64_t kPrecursors[] = {1, 2};

struct ApiCall {
    const char* name;
    std::function<std::uint32_t(std::uint64_t)> make;

    std::uint32_t operator()(std::uint64_t handle) const {
        static const Results nothing;
        results = nothing;
        return make(handle);
    }
};

void addLine(std::int64_t, std::uint32_t count, const double* mz, const float* intensities, void*) {
    ++results.spectra;
    for (std::uint32_t i = 0; i < count; ++i) {
        results.sum += mz[i] * static_cast<double>(intensities[i]);
    }
}

void addProfile(std::int64_t, std::uint32_t count, const std::int32_t* bins, void*) {
    ++results.spectra;
    results.sum = std::accumulate(bins, bins + count, results.sum);
}

auto conversion(decltype(&kova_index_to_mz) function) {
    return
        [function](std::uint64_t handle) { return function(handle, 1, kValues, results.doubles.data(), 3U); };
}

std::vector<ApiCall> frameCalls() {
    return {{"scans",
             [](std::uint64_t handle) {
                 return kova_read_scans_v2(handle, 2, 0, 3, results.words.data(), 4 * 4096);
             }},
            {"index to m/z", conversion(kova_index_to_mz)},
            {"scan number to 1/K0", conversion(kova_scannum_to_oneoverk0)},
            {"MS/MS lines",
             [](std::uint64_t handle) {
                 return kova_read_zorel_msms_v2(handle, kPrecursors, 2, addLine, nullptr);
             }},
            {"MS/MS profiles of a frame", [](std::uint64_t handle) {
                 return kova_read_zorel_profile_msms_for_frame_v2(handle, 1, addProfile, nullptr);
             }}};
}

std::vector<ApiCall> spectrumCalls() {
    return {{"lines",
             [](std::uint64_t handle) {
                 return kvs_read_line_spectrum(handle, 1, results.doubles.data(), results.floats.data(), 64);
             }},
            {"profile",
             [](std::uint64_t handle) {
                 return kvs_read_profile_spectrum(handle, 1, results.words.data(), 4096);
             }},
            {"index to m/z", conversion(kvs_index_to_mz)}};
}

std::size_t bytesOf(const char* format, const ArrowArray& array) {
    const auto rows = static_cast<std::size_t>(array.length + array.offset);
    return *format == 'c'                     ? rows
           : *format == 'I' || *format == 'f' ? 4 * rows
           : *format == '+'                   ? 0
                                              : 8 * rows;
}

// The bits that columns of numbers hold go into the words of the caller, as many as fit.
void keep(const ArrowSchema& schema, const ArrowArray& array, std::size_t& used) {
    for (std::int64_t i = 0; i < array.n_children; ++i) {
        keep(*schema.children[i], *array.children[i], used);
    }
    const std::size_t size = std::min(bytesOf(schema.format, array), 1024 - used);
    if (array.n_buffers == 2 && size != 0) {
        std::memcpy(reinterpret_cast<std::byte*>(results.words.data()) + used, array.buffers[1], size);
        used += size;
    }
    if (array.n_buffers > 0 && array.buffers[0] != nullptr && used < 1024) {
        std::memcpy(reinterpret_cast<std::byte*>(results.words.data()) + used++, array.buffers[0], 1);
    }
}

using MakeStream = std::uint32_t (*)(kvr_run*, ArrowArrayStream*);

// Keeps what a stream gives, without memory of its own. 0 when making or reading it fails.
std::uint32_t streamed(MakeStream make, kvr_run* run) {
    run::Stream stream;
    if (make(run, &stream) == 0) {
        return 0;
    }
    ArrowSchema schema{};
    int code = stream.get_schema(&stream, &schema);
    for (std::size_t used = 0; code == 0;) {
        ArrowArray batch{};
        code = stream.get_next(&stream, &batch);
        if (batch.release == nullptr) {
            break;
        }
        keep(schema, batch, used);
        batch.release(&batch);
    }
    if (schema.release != nullptr) {
        schema.release(&schema);
    }
    const char* const text = stream.get_last_error(&stream);
    EXPECT_EQ(code != 0, text != nullptr && *text != '\0');
    return code == 0 ? 1 : 0;
}

// The n-th thread of a stream may be one that cannot be made; otherwise streams have none, so that each fault has its place.
std::uint32_t threads = 1;

std::vector<ApiCall> runCalls() {
    static kvr_control control;
    control = run::control(threads, threads == 1 ? 0 : 1);
    static constexpr kvr_range mz = {100, 2000};
    static constexpr kvr_range mobility = {0.5, 1.5};
    static constexpr kvr_query box = {.size = sizeof box, .mz = &mz, .one_over_k0 = &mobility};
    static constexpr kvr_target target = {mz, mobility, {0, 1e9}};
    const auto stream = [](MakeStream make) {
        return [make](std::uint64_t handle) {
            return streamed(make, reinterpret_cast<kvr_run*>(handle));  // NOLINT(performance-no-int-to-ptr)
        };
    };
    return {{"peaks",
             stream([](kvr_run* run, auto* out) { return kvr_peaks(run, nullptr, 255, &control, out); })},
            {"chromatograms", stream([](kvr_run* run, auto* out) {
                 return kvr_chromatograms(run, &box, &target, 1, KVR_REDUCE_SUM, &control, out);
             })},
            {"summed spectrum",
             stream([](kvr_run* run, auto* out) { return kvr_summed_spectrum(run, &box, &control, out); })},
            {"MS/MS", stream([](kvr_run* run, auto* out) {
                 return kvr_msms(run, nullptr, 0, nullptr, KVR_SPECTRUM_LINES, &control, out);
             })},
            {"precursors",
             stream([](kvr_run* run, auto* out) { return kvr_table(run, KVR_TABLE_PRECURSORS, out); })}};
}

struct AnalysisCase {
    const char* name;
    int compression;
    bool recalibrated;
    bool isRun = false;
};

struct FaultCase {
    AnalysisCase analysis;
    Kind kind;
};

const char* nameOf(Kind kind) {
    constexpr const char* names[] = {"Reads", "ShortReads", "Allocations", "Mappings", "Steps", "Threads"};
    return names[static_cast<std::size_t>(kind)];
}

std::string lastErrorBy(decltype(&kova_get_last_error_string) get) {
    char text[400] = {};
    get(text, sizeof text);
    return text;
}

TEST(LastError, IsThereWithoutMemoryAndTheFailuresTextEvenIfItsDiagnosticsCannotBeLogged) {
    const fixtures::MemoryDirectory directory;
    std::ofstream(directory.path() / "log.ini")
        << "[levels]\nroot=debug\n[sink.none]\ntype=stderr\nlevel=off\n";
    setenv("KOVADATA_LOG_CONFIG", (directory.path() / "log.ini").c_str(), 1);
    std::vector<std::string> texts;
    for (bool reached = true; reached;) {
        kova_open(directory.path().c_str(), 0);
        const auto fail = [&] {
            faults::failNth(Kind::Allocation, static_cast<unsigned>(texts.size()));
            kova_open("no/such/directory", 0);
            reached = faults::stop();
            return lastErrorBy(kova_get_last_error_string);
        };
        std::thread([&] { EXPECT_NE(fail(), "<no error>") << "of a thread that has no text yet"; }).join();
        texts.push_back(fail());
    }
    ASSERT_GT(texts.size(), 40U);  // the last of which format the message
    for (std::size_t i = texts.size() - 10; i < texts.size(); ++i) {
        EXPECT_EQ(texts[i], "Specified analysis directory does not exist.") << i;
    }
}

// Another program gives a column another name, and the first one again, before any step of a call: no query takes for granted
// what an earlier one has seen and the writer has changed since.
TEST(Writers, BetweenTwoQueriesOfATableAreNotSeen) {
    const struct {
        const char *table, *column;
        MakeStream make;
        const char* file = "analysis.kvd";
    } cases[] = {
        {"Frames", "NumPeaks", [](auto* run, auto* out) { return kvr_peaks(run, nullptr, 0, nullptr, out); }},
        {"Precursors", "Charge",
         [](auto* run, auto* out) { return kvr_precursors(run, kPrecursors, 2, out); }},
        {"CalibrationState", "Source",
         [](auto* run, auto* out) { return kvr_table(run, KVR_TABLE_STATES, out); }, "calibration.sqlite"},
    };
    for (const auto& [table, column, make, file] : cases) {
        const fixtures::MemoryDirectory directory;
        fixtures::smallZorelRun(2).write(directory.path());
        fixtures::writeSmallCalibrationStore(directory.path());
        fixtures::WriterProcess writer(directory.path() / file);
        EXPECT_EQ(writer.execute("PRAGMA journal_mode=WAL"), "");
        std::pair<std::string, std::string> names(column, "Other");
        unsigned n = 0;
        for (bool reached = true; reached;) {
            kvr_run* const run = kvr_open(directory.path().c_str(), nullptr);
            faults::beforeNth(Kind::Step, ++n, [&, changed = std::string("ALTER TABLE ") + table] {
                EXPECT_EQ(writer.execute(changed + " RENAME " + names.first + " TO " + names.second), "");
                names = {names.second, names.first};
            });
            EXPECT_EQ(streamed(make, run), 1U) << table << ' ' << n << ' ' << run::lastError();
            reached = faults::stop();
            kvr_close(run);
        }
        EXPECT_GT(n, 4U) << table;
    }
}

class Faults : public testing::TestWithParam<FaultCase> {
protected:
    void SetUp() override {
        kova_set_num_threads(1);
        const AnalysisCase& c = GetParam().analysis;
        (isSpectra() ? fixtures::smallSpectra() : fixtures::smallZorelRun(c.compression))
            .write(directory.path());
        if (c.recalibrated) {
            fixtures::writeSmallCalibrationStore(directory.path());
        }
        threads = GetParam().kind == Kind::Thread ? 3 : 1;
        calls = isRun() ? runCalls() : isSpectra() ? spectrumCalls() : frameCalls();
        warmUp();
    }

    bool isSpectra() const { return GetParam().analysis.compression == 3; }

    bool isRun() const { return GetParam().analysis.isRun; }

    std::uint64_t open() const {
        if (isRun()) {
            return reinterpret_cast<std::uint64_t>(kvr_open(path.c_str(), nullptr));
        }
        return (isSpectra() ? kvs_open : kova_open)(path.c_str(), GetParam().analysis.recalibrated ? 1 : 0);
    }
    void close(std::uint64_t handle) const {
        if (isRun()) {
            kvr_close(reinterpret_cast<kvr_run*>(handle));  // NOLINT(performance-no-int-to-ptr)
        } else {
            (isSpectra() ? kvs_close : kova_close)(handle);
        }
    }

    // What libraries make once and keep: loggers, the text of the last error, symbol tables of the unwinder.
    void warmUp() const {
        const fixtures::MemoryDirectory empty;
        const std::filesystem::path longPath = empty.path() / std::string(250, 'x') / std::string(250, 'x');
        std::filesystem::create_directories(longPath);
        for (const auto openAny : {kova_open, kvs_open}) {
            EXPECT_EQ(openAny(longPath.c_str(), 0), 0U);
        }
        EXPECT_EQ(kvr_open(longPath.c_str(), nullptr), nullptr);
        const std::uint64_t handle = open();
        for (const ApiCall& call : calls) {
            EXPECT_NE(call(handle), 0U) << call.name;
        }
        close(handle);
    }

    std::string lastError() const {
        return lastErrorBy(isRun()       ? kvr_get_last_error_string
                           : isSpectra() ? kvs_get_last_error_string
                                         : kova_get_last_error_string);
    }

    fixtures::MemoryDirectory directory;
    std::string path = directory.path().string();
    std::vector<ApiCall> calls;
};

TEST_P(Faults, OpeningLeavesNothingBehind) {
    const std::ptrdiff_t descriptors = fixtures::openDescriptors();
    const std::size_t memory = faults::bytesInUse();
    unsigned n = 0;
    for (bool reached = true; reached;) {
        faults::failNth(GetParam().kind, ++n);
        const std::uint64_t handle = open();
        reached = faults::stop();
        if (handle == 0) {
            EXPECT_NE(lastError(), "<no error>");
            ASSERT_TRUE(reached) << lastError();
        }
        close(handle);
        ASSERT_EQ(faults::bytesInUse(), memory) << nameOf(GetParam().kind) << ' ' << n << ": " << lastError();
        ASSERT_EQ(fixtures::openDescriptors(), descriptors) << nameOf(GetParam().kind) << ' ' << n;
    }
    const bool isDone = GetParam().kind != Kind::Mapping && GetParam().kind != Kind::Thread;
    EXPECT_EQ(n > 1, isDone) << "opening maps nothing, begins no thread and does all the rest";
}

TEST_P(Faults, CallsFailWithATextAndLeaveTheHandleUsable) {
    unsigned faults = 0;
    for (const ApiCall& call : calls) {
        const std::uint64_t reference = open();
        EXPECT_NE(call(reference), 0U);
        const Results expected = results;
        close(reference);
        unsigned n = 0;
        for (bool reached = true; reached;) {
            const std::uint64_t handle = open();  // again, so that nothing is cached
            faults::failNth(GetParam().kind, ++n);
            const bool isDone = call(handle) != 0;
            reached = faults::stop();
            if (!isDone) {
                ASSERT_TRUE(reached) << call.name << ": " << lastError();
                EXPECT_NE(lastError(), "<no error>");
            } else {
                EXPECT_TRUE(results == expected) << call.name << ' ' << n;
            }
            EXPECT_NE(call(handle), 0U) << call.name << " again after " << n << ": " << lastError();
            EXPECT_TRUE(results == expected) << call.name << " again after " << n;
            close(handle);
        }
        faults += n - 1;
    }
    EXPECT_GT(faults, 0U) << "nothing of this kind was reached";
}

TEST_P(Faults, ReadingFramesAndConvertingAgainAllocatesNothing) {
    if (isSpectra() || isRun()) {
        return;
    }
    const std::uint64_t handle = open();
    const auto readAll = [&] {
        const auto size = static_cast<std::uint32_t>(4 * results.words.size());
        for (const std::int64_t frame : {1, 2}) {
            EXPECT_GT(kova_read_scans_v2(handle, frame, 0, 3, results.words.data(), size), 0U);
            EXPECT_GT(kova_read_scans_v2(handle, frame, 1, 2, nullptr, 0), 0U);
        }
        EXPECT_EQ(kova_index_to_mz(handle, 1, kValues, results.doubles.data(), 3), 1U);
    };
    readAll();
    faults::failNth(Kind::Allocation, 1);
    readAll();
    EXPECT_FALSE(faults::stop());
    close(handle);
}

std::vector<FaultCase> allCases() {
    std::vector<FaultCase> cases;
    for (const AnalysisCase& analysis :
         {AnalysisCase{"Scans", 1, false}, AnalysisCase{"Frames", 2, false},
          AnalysisCase{"Spectra", 3, false}, AnalysisCase{"Recalibrated", 2, true},
          AnalysisCase{"RunOfFrames", 2, false, true}, AnalysisCase{"RunOfScans", 1, false, true}}) {
        for (const Kind kind : {Kind::Read, Kind::ShortRead, Kind::Allocation, Kind::Mapping, Kind::Step}) {
            cases.push_back({analysis, kind});
        }
    }
    cases.push_back({{"RunOfFrames", 2, false, true}, Kind::Thread});
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Everywhere, Faults, testing::ValuesIn(allCases()), [](const auto& each) {
    return std::string(each.param.analysis.name) + nameOf(each.param.kind);
});

}  // namespace
