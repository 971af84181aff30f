// Reading every scan of every frame through the exported call, beside bare decompression of the same blocks.
#include <cstring>
#include <stdexcept>
#include <vector>

#include <benchmark/benchmark.h>
#include <zstd.h>

#include "bench_analysis.h"
#include "kovadata/kova.h"

namespace {

constexpr std::size_t kBlockHeaderSize = 8;

struct Input {
    explicit Input(const bench::Run& run) : path(bench::simulatedRun(run)), frames(bench::loadFrames(path)) {}

    std::filesystem::path path;
    std::vector<bench::StoredFrame> frames;
};

// Both runs are loaded when first asked for, so that a filtered benchmark does not simulate the other one.
const Input& dense() {
    static const Input input({.frames = 24, .peaksPerFrame = 300'000});
    return input;
}

const Input& sparse() {
    static const Input input({.frames = 160, .peaksPerFrame = 20'000});
    return input;
}

void zstdAlone(benchmark::State& state, const Input& (*get)()) {
    const Input& input = get();
    ZSTD_DCtx* const context = ZSTD_createDCtx();
    std::vector<std::byte> output(64'000'000);
    std::size_t bytes = 0;
    for (auto _ : state) {
        for (const bench::StoredFrame& frame : input.frames) {
            const std::size_t produced = ZSTD_decompressDCtx(context, output.data(), output.size(),
                                                             frame.block.data() + kBlockHeaderSize,
                                                             frame.block.size() - kBlockHeaderSize);
            if (ZSTD_isError(produced)) {
                state.SkipWithError(ZSTD_getErrorName(produced));
            }
            bytes += produced;
        }
        benchmark::ClobberMemory();
    }
    ZSTD_freeDCtx(context);
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}

void readScans(benchmark::State& state, const Input& (*get)()) {
    const Input& input = get();
    const std::uint64_t handle = kova_open(input.path.c_str(), 0);
    std::vector<std::uint32_t> buffer(16'000'000);
    std::size_t bytes = 0;
    for (auto _ : state) {
        for (const bench::StoredFrame& frame : input.frames) {
            const std::uint32_t size = kova_read_scans_v2(handle, frame.id, 0, frame.scans, buffer.data(),
                                                          static_cast<std::uint32_t>(4 * buffer.size()));
            if (size == 0) {
                state.SkipWithError("a frame could not be read");
            }
            bytes += size;
        }
        benchmark::ClobberMemory();
    }
    kova_close(handle);
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}

BENCHMARK_CAPTURE(zstdAlone, dense, &dense)->Name("frames_300k_peaks/floor")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readScans, dense, &dense)->Name("frames_300k_peaks/library")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(zstdAlone, sparse, &sparse)->Name("frames_20k_peaks/floor")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readScans, sparse, &sparse)
    ->Name("frames_20k_peaks/library")
    ->Unit(benchmark::kMillisecond);

}  // namespace
