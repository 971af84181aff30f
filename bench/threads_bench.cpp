// A whole run read by two threads with a handle each, beside one thread with one handle.
#include <cstdint>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench_analysis.h"
#include "kovadata/kova.h"

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

// Reads every `step`-th frame from `first` on; what a worker of a parallel program does.
class Worker {
public:
    // The handle's memory is there before the time counts.
    Worker() : handle(kova_open(run().c_str(), 0)), buffer(4'000'000) { read(frames().size() - 1, 1); }
    ~Worker() { kova_close(handle); }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    bool read(std::size_t first, std::size_t step) {
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

void oneThread(benchmark::State& state) {
    Worker worker;
    for (auto _ : state) {
        if (!worker.read(0, 1)) {
            state.SkipWithError("a frame could not be read");
        }
    }
}

void twoThreads(benchmark::State& state) {
    Worker workers[2];
    for (auto _ : state) {
        bool good[2] = {false, false};
        std::thread other([&] { good[1] = workers[1].read(1, 2); });
        good[0] = workers[0].read(0, 2);
        other.join();
        if (!good[0] || !good[1]) {
            state.SkipWithError("a frame could not be read");
        }
    }
}

BENCHMARK(oneThread)->Name("two_threads/floor")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(twoThreads)->Name("two_threads/library")->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
