// Index <-> m/z conversion through the exported calls, beside the bare arithmetic on plain arrays with as
// many threads.
#include <cstring>
#include <filesystem>
#include <vector>

#include <benchmark/benchmark.h>

#include "fixtures/analysis_builder.h"
#include "fixtures/temp_directory.h"
#include "kovadata/kova.h"
#include "kovadata/kvs.h"
#include "plain_conversion.h"

namespace {

constexpr bench::TofConstants kQuadratic = {
    .delay = 24000.0, .timebase = 0.2, .c0 = 300.0, .c1 = 160000.0, .c2 = 0.005, .c3 = 0.0, .c4 = 0.0};
constexpr bench::TofConstants kCubic = {
    .delay = 24000.0, .timebase = 0.2, .c0 = 300.0, .c1 = 160000.0, .c2 = 0.005, .c3 = -1e-6, .c4 = 0.01};

// An analysis whose frame 1 has the quadratic and frame 2 the cubic calibration.
struct Analysis {
    Analysis() : handle(kova_open(write().c_str(), 0)) {}
    ~Analysis() { kova_close(handle); }

    const std::filesystem::path& write() const {
        const auto row = [](std::int64_t id, const bench::TofConstants& c) {
            return analysis_writer::MzCalibrationRecord{.id = id,
                                                        .digitizerTimebase = c.timebase,
                                                        .digitizerDelay = c.delay,
                                                        .coefficients = {c.c0, c.c1, c.c2, c.c3, c.c4}};
        };
        return fixtures::AnalysisBuilder()
            .frame({})
            .frame({}, {.mzCalibration = 2})
            .mzCalibration(row(1, kQuadratic))
            .mzCalibration(row(2, kCubic))
            .write(directory.path());
    }

    fixtures::TempDirectory directory;
    std::uint64_t handle;
};

enum Model : std::int64_t { kModelQuadratic = 1, kModelCubic = 2 };

std::vector<double> inputs(std::size_t count, bool indices) {
    std::vector<double> values(count);
    const double first = indices ? 10.0 : 110.0;
    const double step = (indices ? 390'000.0 : 1500.0) / static_cast<double>(count);
    for (std::size_t i = 0; i < count; ++i) {
        values[i] = first + step * static_cast<double>(i);
    }
    return values;
}

void library(benchmark::State& state, Model frame, bool toMz, int threads, std::size_t count) {
    static const Analysis analysis;
    kova_set_num_threads(static_cast<std::uint32_t>(threads));
    const std::vector<double> in = inputs(count, toMz);
    std::vector<double> out(count);
    const auto convert = toMz ? kova_index_to_mz : kova_mz_to_index;
    for (auto _ : state) {
        if (convert(analysis.handle, frame, in.data(), out.data(), static_cast<std::uint32_t>(count)) != 1) {
            state.SkipWithError("conversion failed");
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}

void floorOf(benchmark::State& state, Model frame, bool toMz, int threads, std::size_t count) {
    const bench::TofConstants& constants = frame == kModelQuadratic ? kQuadratic : kCubic;
    const std::vector<double> in = inputs(count, toMz);
    std::vector<double> out(count);
    for (auto _ : state) {
        bench::convertPlainly(constants, toMz, in.data(), out.data(), count, threads);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}

// What a call across the boundary costs whatever it does.
void emptyCall(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(kvs_has_recalibrated_state(0));
    }
}

void copyAlone(benchmark::State& state, std::size_t count) {
    const std::vector<double> in = inputs(count, true);
    std::vector<double> out(count);
    for (auto _ : state) {
        std::memcpy(out.data(), in.data(), count * sizeof(double));
        benchmark::ClobberMemory();
    }
}

// The shortest batch that worker threads may share. On more of them it must cost no more than on one.
constexpr std::size_t kShortBatch = 100;

void registerPath(Model frame, bool toMz, int threads, std::size_t count) {
    const std::string path = std::string(toMz ? "index_to_mz" : "mz_to_index") +
                             (frame == kModelQuadratic ? "_quadratic_" : "_cubic_") + std::to_string(count) +
                             "_" + std::to_string(threads) + "t";
    const auto add = [&](const char* role, auto... arguments) {
        benchmark::RegisterBenchmark((path + role).c_str(), arguments...)->UseRealTime();
    };
    if (count == 1) {
        add("/floor", emptyCall);
    } else if (count == kShortBatch) {
        add("/floor", library, frame, toMz, 1, count);
    } else {
        add("/floor", floorOf, frame, toMz, threads, count);
    }
    add("/library", library, frame, toMz, threads, count);
    add("/memcpy", copyAlone, count);
}

const int registered = [] {
    for (const Model frame : {kModelQuadratic, kModelCubic}) {
        for (const bool toMz : {true, false}) {
            for (const int threads : {1, 2}) {
                for (const std::size_t count :
                     std::initializer_list<std::size_t>{1, 10, 99, kShortBatch, 10'000, 1'000'000}) {
                    registerPath(frame, toMz, threads, count);
                }
            }
        }
    }
    return 0;
}();

}  // namespace
