#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

// What reading costs, for those who want to know. A thread that works for somebody who counts says so by a
// CountedWork. All others find no counters; for them measuring costs one look at a pointer per block.
namespace lumo::sys {

// Sums over threads; times in nanoseconds.
struct WorkCounters {
    std::atomic<std::uint64_t> bytesRead{0};  // of the file of frames
    std::atomic<std::uint64_t> blocksDecompressed{0};
    std::atomic<std::uint64_t> reading{0};  // the file of frames
    std::atomic<std::uint64_t> decompression{0};
    std::atomic<std::uint64_t> decoding{0};    // decompressed bytes to peaks
    std::atomic<std::uint64_t> conversion{0};  // m/z and 1/K0
    std::atomic<std::uint64_t> queries{0};     // the database
};

// The counters of the calling thread; null where nobody counts.
WorkCounters* activeWorkCounters() noexcept;

// While it lives, what its thread does adds to the counters.
class CountedWork {
public:
    explicit CountedWork(WorkCounters& counters) noexcept;
    CountedWork(const CountedWork&) = delete;
    CountedWork& operator=(const CountedWork&) = delete;
    ~CountedWork();

private:
    WorkCounters* before;
};

// Adds the time for which it lives.
class WorkStopwatch {
public:
    using Sum = std::atomic<std::uint64_t> WorkCounters::*;

    explicit WorkStopwatch(Sum which) : counters(activeWorkCounters()), sum(which) {
        if (counters != nullptr) {
            start = Clock::now();
        }
    }
    WorkStopwatch(const WorkStopwatch&) = delete;
    WorkStopwatch& operator=(const WorkStopwatch&) = delete;
    ~WorkStopwatch() {
        if (counters != nullptr) {
            const auto time = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - start);
            (counters->*sum).fetch_add(static_cast<std::uint64_t>(time.count()), std::memory_order_relaxed);
        }
    }

    // Adds an amount to another of the counters.
    void add(Sum which, std::uint64_t amount) const {
        if (counters != nullptr) {
            (counters->*which).fetch_add(amount, std::memory_order_relaxed);
        }
    }

private:
    using Clock = std::chrono::steady_clock;

    WorkCounters* counters;
    Sum sum;
    Clock::time_point start;
};

}  // namespace lumo::sys
