// What log messages cost that nobody asked for: reading all scans, whole frames and single scans at a time, through the
// library as it is, beside the same library compiled without any messages.
#include <cstdlib>
#include <stdexcept>
#include <vector>

#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include "bench_analysis.h"
#include "kovadata/kova.h"

namespace {

template <class Function>
Function* symbol(void* library, const char* name) {
    auto* const function = reinterpret_cast<Function*>(dlsym(library, name));
    if (function == nullptr) {
        throw std::runtime_error(dlerror());
    }
    return function;
}

struct Library {
    explicit Library(const char* path) : handle(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
        if (handle == nullptr) {
            throw std::runtime_error(dlerror());
        }
    }

    void* handle;
    decltype(&kova_open) open = symbol<decltype(kova_open)>(handle, "kova_open");
    decltype(&kova_close) close = symbol<decltype(kova_close)>(handle, "kova_close");
    decltype(&kova_read_scans_v2) read = symbol<decltype(kova_read_scans_v2)>(handle, "kova_read_scans_v2");
};

const Library& logged() {
    static const Library library(KOVADATA_LIBRARY);
    return library;
}

const Library& unlogged() {
    static const Library library(KOVADATA_UNLOGGED_LIBRARY);
    return library;
}

struct Input {
    explicit Input(int compression)
        : path(bench::simulatedRun({.frames = 20, .peaksPerFrame = 20'000, .compression = compression})),
          frames(bench::loadFrames(path)) {}

    std::filesystem::path path;
    std::vector<bench::StoredFrame> frames;
};

const Input& type1() {
    static const Input input(1);
    return input;
}

const Input& type2() {
    static const Input input(2);
    return input;
}

void readAll(benchmark::State& state, const Library& (*getLibrary)(), const Input& (*getInput)(),
             bool singleScans) {
    const Library& library = getLibrary();
    const Input& input = getInput();
    const std::uint64_t handle = library.open(input.path.c_str(), 0);
    std::vector<std::uint32_t> buffer(1'000'000);
    const auto bytes = static_cast<std::uint32_t>(4 * buffer.size());
    for (auto _ : state) {
        for (const bench::StoredFrame& frame : input.frames) {
            const std::uint32_t step = singleScans ? 1 : frame.scans;
            for (std::uint32_t scan = 0; scan < frame.scans; scan += step) {
                if (library.read(handle, frame.id, scan, scan + step, buffer.data(), bytes) == 0) {
                    state.SkipWithError("a frame could not be read");
                }
            }
        }
        benchmark::ClobberMemory();
    }
    library.close(handle);
}

#define LUMO_BENCH_PAIR(name, input, singleScans)                               \
    BENCHMARK_CAPTURE(readAll, name##_unlogged, &unlogged, &input, singleScans) \
        ->Name("logging_off_" #name "/floor")                                   \
        ->Unit(benchmark::kMillisecond);                                        \
    BENCHMARK_CAPTURE(readAll, name##_logged, &logged, &input, singleScans)     \
        ->Name("logging_off_" #name "/library")                                 \
        ->Unit(benchmark::kMillisecond)

LUMO_BENCH_PAIR(frames_type1, type1, false);
LUMO_BENCH_PAIR(scans_type1, type1, true);
LUMO_BENCH_PAIR(frames_type2, type2, false);
LUMO_BENCH_PAIR(scans_type2, type2, true);

}  // namespace
