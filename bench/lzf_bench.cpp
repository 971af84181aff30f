// Analyses whose scans are compressed one by one, beside bare decompression of the same streams: decompression alone, and whole
// frames through the exported call. Of simulated runs, and of a measured one that KOVADATA_BENCH_SCANWISE may name.
#include <cstdlib>
#include <deque>
#include <fstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <lzf.h>

#include "bench_analysis.h"
#include "kova-data-reader/blob/kvd_reader_cache.h"
#include "kova-data-reader/blob/scan_group.h"
#include "kovadata/kova.h"

namespace {

struct ScanwiseFrame {
    std::int64_t id = 0;
    lumo::io::kova::KvdReaderCache scans;  // all of them, compressed
};

struct Input {
    explicit Input(std::filesystem::path analysis) : path(std::move(analysis)) {
        std::ifstream blob(path / "analysis.kvd_bin", std::ios::binary);
        bench::forEachRow(path / "analysis.kvd",
                          "SELECT Id, KovaId FROM Frames WHERE KovaId >= 0 ORDER BY Id",
                          [&](sqlite3_stmt& row) {
                              ScanwiseFrame& frame = frames.emplace_back();
                              frame.id = sqlite3_column_int64(&row, 0);
                              const std::int64_t position = sqlite3_column_int64(&row, 1);
                              frame.scans.ensureFrameHeaderLoaded(blob, frame.id, position);
                              frame.scans.fillRange(blob, frame.id, position, 0, frame.scans.numberOfScans());
                          });
    }

    std::filesystem::path path;
    std::deque<ScanwiseFrame> frames;
};

using GetInput = const Input& (*)();

// Each run is loaded when first asked for, so that a filtered benchmark does not simulate the others.
template <int kPeaksPerFrame>
const Input& simulated() {
    static const Input input(bench::simulatedRun(
        {.frames = 7'200'000 / kPeaksPerFrame, .peaksPerFrame = kPeaksPerFrame, .compression = 1}));
    return input;
}

const Input& measured() {
    static const Input input(std::getenv("KOVADATA_BENCH_SCANWISE"));
    return input;
}

void lzfAlone(benchmark::State& state, GetInput get) {
    const Input& input = get();
    std::vector<std::byte> output(4'000'000);
    for (auto _ : state) {
        for (const ScanwiseFrame& frame : input.frames) {
            for (std::uint32_t scan = 0; scan < frame.scans.numberOfScans(); ++scan) {
                const auto stream = frame.scans.find(scan).value();
                if (!stream.empty() &&
                    lzf_decompress(stream.data(), static_cast<unsigned>(stream.size()), output.data(),
                                   static_cast<unsigned>(output.size())) == 0) {
                    state.SkipWithError("a scan could not be decompressed");
                }
            }
        }
        benchmark::ClobberMemory();
    }
}

void decompressGroups(benchmark::State& state, GetInput get) {
    const Input& input = get();
    lumo::io::kova::ScanGroup group;
    for (auto _ : state) {
        for (const ScanwiseFrame& frame : input.frames) {
            const std::uint32_t end = frame.scans.numberOfScans();
            for (std::uint32_t scan = 0; scan < end;) {
                for (group.fill(frame.scans, scan, end); group.contains(scan); ++scan) {
                    if (!group.get(scan)) {
                        state.SkipWithError("a scan is left to others");
                    }
                }
            }
        }
        benchmark::ClobberMemory();
    }
}

void readFrames(benchmark::State& state, GetInput get) {
    const Input& input = get();
    const std::uint64_t handle = kova_open(input.path.c_str(), 0);
    std::vector<std::uint32_t> buffer(16'000'000);
    const auto read = [&](const ScanwiseFrame& frame) {
        return kova_read_scans_v2(handle, frame.id, 0, frame.scans.numberOfScans(), buffer.data(),
                                  static_cast<std::uint32_t>(4 * buffer.size()));
    };
    // The handle's memory is there before the time counts, as is that of the floor.
    read(input.frames.back());
    for (auto _ : state) {
        for (const ScanwiseFrame& frame : input.frames) {
            if (read(frame) == 0) {
                state.SkipWithError("a frame could not be read");
            }
        }
        benchmark::ClobberMemory();
    }
    kova_close(handle);
}

void add(const std::string& run, GetInput get) {
    const auto row = [get](const std::string& name, auto function) {
        benchmark::RegisterBenchmark(name.c_str(), function, get)->Unit(benchmark::kMillisecond);
    };
    row("scanwise_streams_" + run + "/floor", lzfAlone);
    row("scanwise_streams_" + run + "/library", decompressGroups);
    row("scanwise_frames_" + run + "/floor", lzfAlone);
    row("scanwise_frames_" + run + "/library", readFrames);
}

const int registered = [] {
    add("300k", simulated<300'000>);
    add("20k", simulated<20'000>);
    if (std::getenv("KOVADATA_BENCH_SCANWISE") != nullptr) {
        add("measured", measured);
    }
    return 0;
}();

}  // namespace
