// kovadata.hpp beside the C calls that it is made of: both do the same work in the same order.
#include <algorithm>
#include <cstdint>
#include <numeric>
#include <vector>

#include <benchmark/benchmark.h>
#include <kovadata/kovadata.hpp>

#include "bench_analysis.h"

namespace {

constexpr auto sparse = &bench::loaded<bench::kSparseRun>;
constexpr auto spectra = &bench::loaded<bench::kSpectraRun>;

// A handle for the C calls that an exception does not leave open.
struct Handle {
    explicit Handle(const std::filesystem::path& path) : value(kova_open(path.c_str(), 0)) {}
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { kova_close(value); }

    std::uint64_t value;
};

std::uint64_t sumOf(const std::uint32_t* values, std::size_t count) {
    return std::accumulate(values, values + count, std::uint64_t{0});
}

// Every frame, every scan, the sum of its intensities.
void framesByC(benchmark::State& state) {
    const Handle handle(sparse().path);
    std::vector<std::uint32_t> words(1 << 20);
    std::uint64_t sum = 0;
    for (auto _ : state) {
        for (const bench::StoredFrame& frame : sparse().frames) {
            const std::uint32_t size =
                kova_read_scans_v2(handle.value, frame.id, 0, frame.scans, words.data(),
                                   static_cast<std::uint32_t>(4 * words.size()));
            if (size == 0 || size > 4 * words.size()) {
                state.SkipWithError("a frame could not be read");
                return;
            }
            const std::uint32_t* peaks = words.data() + frame.scans;
            for (std::uint32_t scan = 0; scan < frame.scans; ++scan) {
                const std::size_t count = words[scan];
                sum += sumOf(peaks + count, count);
                peaks += 2 * count;
            }
        }
        benchmark::DoNotOptimize(sum);
    }
}

void framesByCpp(benchmark::State& state) {
    kova::Analysis analysis(sparse().path);
    kova::Frame frame;
    std::uint64_t sum = 0;
    for (auto _ : state) {
        for (const bench::StoredFrame& stored : sparse().frames) {
            analysis.readFrame(stored.id, 0, stored.scans, frame);
            for (const kova::Scan scan : frame) {
                sum += sumOf(scan.intensities.data(), scan.intensities.size());
            }
        }
        benchmark::DoNotOptimize(sum);
    }
}

// One scan at a time of a frame that stays decompressed: the shortest reading call there is.
void scansByC(benchmark::State& state) {
    const Handle handle(sparse().path);
    const bench::StoredFrame& frame = sparse().frames.front();
    std::vector<std::uint32_t> words(1 << 20);
    std::uint64_t sum = 0;
    for (auto _ : state) {
        for (std::uint32_t scan = 0; scan < frame.scans; ++scan) {
            const std::uint32_t size =
                kova_read_scans_v2(handle.value, frame.id, scan, scan + 1, words.data(),
                                   static_cast<std::uint32_t>(4 * words.size()));
            if (size == 0 || size > 4 * words.size()) {
                state.SkipWithError("a scan could not be read");
                return;
            }
            sum += sumOf(words.data() + 1 + words[0], words[0]);
        }
        benchmark::DoNotOptimize(sum);
    }
}

void scansByCpp(benchmark::State& state) {
    kova::Analysis analysis(sparse().path);
    const bench::StoredFrame& stored = sparse().frames.front();
    kova::Frame frame;
    std::uint64_t sum = 0;
    for (auto _ : state) {
        for (std::uint32_t number = 0; number < stored.scans; ++number) {
            analysis.readFrame(stored.id, number, number + 1, frame);
            for (const kova::Scan scan : frame) {
                sum += sumOf(scan.intensities.data(), scan.intensities.size());
            }
        }
        benchmark::DoNotOptimize(sum);
    }
}

constexpr std::size_t kValues = 50;

void conversionsByC(benchmark::State& state) {
    const Handle handle(sparse().path);
    std::vector<double> index(kValues, 1e5);
    std::vector<double> mz(kValues);
    for (auto _ : state) {
        if (kova_index_to_mz(handle.value, 1, index.data(), mz.data(), kValues) == 0) {
            state.SkipWithError("conversion failed");
        }
        benchmark::ClobberMemory();
    }
}

void conversionsByCpp(benchmark::State& state) {
    kova::Analysis analysis(sparse().path);
    std::vector<double> index(kValues, 1e5);
    std::vector<double> mz(kValues);
    for (auto _ : state) {
        analysis.indexToMz(1, index, mz);
        benchmark::ClobberMemory();
    }
}

void spectraByC(benchmark::State& state) {
    const std::uint64_t handle = kvs_open(spectra().path.c_str(), 0);
    constexpr std::uint32_t kRoom = 1'000'000;
    std::vector<double> positions(kRoom);
    std::vector<float> intensities(kRoom);
    for (auto _ : state) {
        for (const bench::StoredFrame& frame : spectra().frames) {
            if (kvs_read_line_spectrum(handle, frame.id, positions.data(), intensities.data(), kRoom) == 0) {
                state.SkipWithError("a spectrum could not be read");
            }
        }
        benchmark::ClobberMemory();
    }
    kvs_close(handle);
}

void spectraByCpp(benchmark::State& state) {
    kova::SpectrumAnalysis analysis(spectra().path);
    kova::LineSpectrum lines;
    for (auto _ : state) {
        for (const bench::StoredFrame& frame : spectra().frames) {
            analysis.readLines(frame.id, lines);
        }
        benchmark::ClobberMemory();
    }
}

// A hundred precursors: enough callbacks, and over in a moment.
const std::vector<std::int64_t>& precursors() {
    static const std::vector<std::int64_t> ids = [] {
        std::vector<std::int64_t> all = bench::precursorIds(bench::simulatedRun(bench::kMsMsRun));
        all.resize((std::min)(all.size(), std::size_t{100}));
        return all;
    }();
    return ids;
}

void msmsByC(benchmark::State& state) {
    const Handle handle(bench::simulatedRun(bench::kMsMsRun));
    double sum = 0.0;
    const auto add = [](std::int64_t, std::uint32_t count, const double* mz, const float*, void* context) {
        *static_cast<double*>(context) += std::accumulate(mz, mz + count, 0.0);
    };
    for (auto _ : state) {
        if (kova_read_zorel_msms_v2(handle.value, precursors().data(),
                                    static_cast<std::uint32_t>(precursors().size()), add, &sum) == 0) {
            state.SkipWithError("spectra cannot be read");
        }
        benchmark::DoNotOptimize(sum);
    }
}

void msmsByCpp(benchmark::State& state) {
    kova::Analysis analysis(bench::simulatedRun(bench::kMsMsRun));
    double sum = 0.0;
    for (auto _ : state) {
        analysis.readMsMs(precursors(),
                          [&](std::int64_t, std::span<const double> mz, std::span<const float>) {
                              sum += std::accumulate(mz.begin(), mz.end(), 0.0);
                          });
        benchmark::DoNotOptimize(sum);
    }
}

BENCHMARK(framesByC)->Name("cpp_frames/floor")->Unit(benchmark::kMillisecond);
BENCHMARK(framesByCpp)->Name("cpp_frames/library")->Unit(benchmark::kMillisecond);
BENCHMARK(scansByC)->Name("cpp_scan_by_scan/floor")->Unit(benchmark::kMicrosecond);
BENCHMARK(scansByCpp)->Name("cpp_scan_by_scan/library")->Unit(benchmark::kMicrosecond);
BENCHMARK(conversionsByC)->Name("cpp_index_to_mz_50/floor");
BENCHMARK(conversionsByCpp)->Name("cpp_index_to_mz_50/library");
BENCHMARK(spectraByC)->Name("cpp_lines/floor")->Unit(benchmark::kMillisecond);
BENCHMARK(spectraByCpp)->Name("cpp_lines/library")->Unit(benchmark::kMillisecond);
BENCHMARK(msmsByC)->Name("cpp_precursor_lines/floor")->Unit(benchmark::kMillisecond);
BENCHMARK(msmsByCpp)->Name("cpp_precursor_lines/library")->Unit(benchmark::kMillisecond);

}  // namespace
