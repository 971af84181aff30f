// Reading all line and profile spectra of an analysis without mobility, beside bare decompression of the same
// parts.
#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>
#include <zstd.h>

#include "bench_analysis.h"
#include "kovadata/kvs.h"

namespace {

constexpr std::size_t kBlockHeaderSize = 8;

struct Input {
    std::filesystem::path path = bench::simulatedRun(bench::kSpectraRun);
    std::vector<bench::StoredFrame> frames = bench::loadFrames(path);
};

const Input& input() {
    static const Input loaded;
    return loaded;
}

struct Part {
    const std::byte* data;
    std::size_t size;
};

// The compressed line and profile part of a block.
std::pair<Part, Part> partsOf(const bench::StoredFrame& frame) {
    std::uint32_t lineSize = 0;
    std::memcpy(&lineSize, frame.block.data() + 4, 4);
    const std::byte* const payload = frame.block.data() + kBlockHeaderSize;
    return {{payload, lineSize}, {payload + lineSize, frame.block.size() - kBlockHeaderSize - lineSize}};
}

void zstdAlone(benchmark::State& state) {
    ZSTD_DCtx* const context = ZSTD_createDCtx();
    std::vector<std::byte> output(16'000'000);
    for (auto _ : state) {
        for (const bench::StoredFrame& frame : input().frames) {
            const auto [line, profile] = partsOf(frame);
            for (const Part& part : {line, profile}) {
                if (ZSTD_isError(
                        ZSTD_decompressDCtx(context, output.data(), output.size(), part.data, part.size))) {
                    state.SkipWithError("a part could not be decompressed");
                }
            }
        }
        benchmark::ClobberMemory();
    }
    ZSTD_freeDCtx(context);
}

void readSpectra(benchmark::State& state) {
    const std::uint64_t handle = kvs_open(input().path.c_str(), 0);
    constexpr std::uint32_t kRoom = 1'000'000;
    std::vector<double> positions(kRoom);
    std::vector<float> intensities(kRoom);
    std::vector<float> widths(kRoom);
    std::vector<std::uint32_t> profile(kRoom);
    // The handle's memory is there before the time counts, as is that of the floor.
    const std::int64_t last = input().frames.back().id;
    kvs_read_line_spectrum(handle, last, positions.data(), intensities.data(), kRoom);
    kvs_read_profile_spectrum(handle, last, profile.data(), kRoom);
    for (auto _ : state) {
        for (const bench::StoredFrame& frame : input().frames) {
            const std::uint32_t lines = kvs_read_line_spectrum_with_width(
                handle, frame.id, positions.data(), intensities.data(), widths.data(), kRoom);
            const std::uint32_t points = kvs_read_profile_spectrum(handle, frame.id, profile.data(), kRoom);
            if (lines == 0 || points == 0) {
                state.SkipWithError("a spectrum could not be read");
            }
        }
        benchmark::ClobberMemory();
    }
    kvs_close(handle);
}

BENCHMARK(zstdAlone)->Name("line_and_profile_spectra/floor")->Unit(benchmark::kMillisecond);
BENCHMARK(readSpectra)->Name("line_and_profile_spectra/library")->Unit(benchmark::kMillisecond);

}  // namespace
