// A whole run read by two threads with a handle each, beside one thread with one handle, and beside two threads that
// only decompress: no library can gain more from the second thread than the machine gives.
#include <cstdint>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <zstd.h>

#include "bench_analysis.h"
#include "kovadata/kova.h"
#include "zstd_floor.h"

namespace {

constexpr std::uint32_t kScans = 900;

const std::filesystem::path& run() {
    static const std::filesystem::path path = bench::simulatedRun(bench::kDenseRun);
    return path;
}

const std::vector<bench::StoredFrame>& frames() {
    static const std::vector<bench::StoredFrame> loaded = bench::loadFrames(run());
    return loaded;
}

// Takes every `step`-th frame from `first` on; what a worker of a parallel program does.
class Reader {
public:
    // The handle's memory is there before the time counts.
    Reader() : handle(kova_open(run().c_str(), 0)), buffer(4'000'000) { work(frames().size() - 1, 1); }
    ~Reader() { kova_close(handle); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    bool work(std::size_t first, std::size_t step) {
        for (std::size_t i = first; i < frames().size(); i += step) {
            if (kova_read_scans_v2(handle, frames()[i].id, 0, kScans, buffer.data(),
                                   static_cast<std::uint32_t>(4 * buffer.size())) == 0) {
                return false;
            }
        }
        return true;
    }

private:
    std::uint64_t handle;
    std::vector<std::uint32_t> buffer;
};

class Decompressor {
public:
    Decompressor() : context(ZSTD_createDCtx()), buffer(16'000'000) { work(frames().size() - 1, 1); }
    ~Decompressor() { ZSTD_freeDCtx(context); }
    Decompressor(const Decompressor&) = delete;
    Decompressor& operator=(const Decompressor&) = delete;

    bool work(std::size_t first, std::size_t step) {
        for (std::size_t i = first; i < frames().size(); i += step) {
            const std::vector<std::byte>& block = frames()[i].block;
            if (ZSTD_isError(ZSTD_decompressDCtx(context, buffer.data(), buffer.size(),
                                                 block.data() + bench::kBlockHeaderSize,
                                                 block.size() - bench::kBlockHeaderSize)) != 0) {
                return false;
            }
        }
        return true;
    }

private:
    ZSTD_DCtx* context;
    std::vector<std::byte> buffer;
};

template <class Worker>
void oneThread(benchmark::State& state) {
    Worker worker;
    for (auto _ : state) {
        if (!worker.work(0, 1)) {
            state.SkipWithError("a frame could not be read");
        }
    }
}

template <class Worker>
void twoThreads(benchmark::State& state) {
    Worker workers[2];
    for (auto _ : state) {
        bool good[2] = {false, false};
        std::thread other([&] { good[1] = workers[1].work(1, 2); });
        good[0] = workers[0].work(0, 2);
        other.join();
        if (!good[0] || !good[1]) {
            state.SkipWithError("a frame could not be read");
        }
    }
}

const int registered = [] {
    const auto add = [](const char* name, auto function) {
        benchmark::RegisterBenchmark(name, function)->Unit(benchmark::kMillisecond)->UseRealTime();
    };
    add("two_threads/floor", oneThread<Reader>);
    add("two_threads/library", twoThreads<Reader>);
    add("two_threads_of_zstd/floor", oneThread<Decompressor>);
    add("two_threads_of_zstd/library", twoThreads<Decompressor>);
    add("frames_300k_peaks_2t/floor", twoThreads<Decompressor>);
    add("frames_300k_peaks_2t/library", twoThreads<Reader>);
    return 0;
}();

}  // namespace
