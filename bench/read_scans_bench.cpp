// Reading scans through the exported calls, beside bare decompression of the same blocks.
#include <functional>
#include <stdexcept>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench_analysis.h"
#include "kovadata/kova.h"
#include "zstd_floor.h"

namespace {

constexpr auto dense = &bench::loaded<bench::kDenseRun>;
constexpr auto sparse = &bench::loaded<bench::kSparseRun>;

using GetInput = const bench::LoadedRun& (*)();

void zstdAlone(benchmark::State& state, GetInput get) { bench::decompressBlocks(state, get().frames); }

// Reads the frames of a run; `read` gets the handle, the frame, the buffer and its size.
using Read = std::uint32_t (*)(std::uint64_t, const bench::StoredFrame&, std::uint32_t*, std::uint32_t);

void readFrames(benchmark::State& state, GetInput get, Read read) {
    const bench::LoadedRun& input = get();
    const std::uint64_t handle = kova_open(input.path.c_str(), 0);
    std::vector<std::uint32_t> buffer(16'000'000);
    // The handle's memory is there before the time counts, as is that of the floor.
    read(handle, input.frames.back(), buffer.data(), static_cast<std::uint32_t>(4 * buffer.size()));
    std::size_t bytes = 0;
    for (auto _ : state) {
        for (const bench::StoredFrame& frame : input.frames) {
            const std::uint32_t size =
                read(handle, frame, buffer.data(), static_cast<std::uint32_t>(4 * buffer.size()));
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

std::uint32_t allScans(std::uint64_t handle, const bench::StoredFrame& frame, std::uint32_t* buffer,
                       std::uint32_t size) {
    return kova_read_scans_v2(handle, frame.id, 0, frame.scans, buffer, size);
}

std::uint32_t someScans(std::uint64_t handle, const bench::StoredFrame& frame, std::uint32_t* buffer,
                        std::uint32_t size) {
    return kova_read_scans_v2(handle, frame.id, 400, 420, buffer, size);
}

std::uint32_t oneFrameAtOnce(std::uint64_t handle, std::uint32_t* buffer, std::uint32_t size) {
    return allScans(handle, dense().frames.front(), buffer, size);
}

std::uint32_t oneFrameScanByScan(std::uint64_t handle, std::uint32_t* buffer, std::uint32_t size) {
    const bench::StoredFrame& frame = dense().frames.front();
    std::uint32_t total = 0;
    for (std::uint32_t scan = 0; scan < frame.scans; ++scan) {
        const std::uint32_t bytes =
            kova_read_scans_v2(handle, frame.id, scan, scan + 1, buffer, size - total);
        if (bytes == 0) {
            return 0;
        }
        buffer += bytes / 4;
        total += bytes;
    }
    return total;
}

// The frame stays decompressed between the calls, as it does for a caller who goes through its scans.
void readOneFrame(benchmark::State& state, decltype(&oneFrameAtOnce) read) {
    const std::uint64_t handle = kova_open(dense().path.c_str(), 0);
    std::vector<std::uint32_t> buffer(16'000'000);
    read(handle, buffer.data(), static_cast<std::uint32_t>(4 * buffer.size()));
    for (auto _ : state) {
        if (read(handle, buffer.data(), static_cast<std::uint32_t>(4 * buffer.size())) == 0) {
            state.SkipWithError("a frame could not be read");
        }
        benchmark::ClobberMemory();
    }
    kova_close(handle);
}

const int registered = [] {
    const auto add = [](const char* name, auto... arguments) {
        benchmark::RegisterBenchmark(name, arguments...)->Unit(benchmark::kMillisecond);
    };
    add("frames_300k_peaks/floor", zstdAlone, dense);
    add("frames_300k_peaks/library", readFrames, dense, &allScans);
    add("frames_20k_peaks/floor", zstdAlone, sparse);
    add("frames_20k_peaks/library", readFrames, sparse, &allScans);
    add("scans_400_to_420/floor", zstdAlone, dense);
    add("scans_400_to_420/library", readFrames, dense, &someScans);
    add("one_frame_scan_by_scan/floor", readOneFrame, &oneFrameAtOnce);
    add("one_frame_scan_by_scan/library", readOneFrame, &oneFrameScanByScan);
    return 0;
}();

}  // namespace
