#include "calibration/worker_threads.h"

#include <omp.h>
#include <pthread.h>

#include <algorithm>

#if defined(__SANITIZE_THREAD__)
#define LUMO_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define LUMO_THREAD_SANITIZER 1
#endif
#endif

#ifdef LUMO_THREAD_SANITIZER
extern "C" {
void __tsan_acquire(void* address);
void __tsan_release(void* address);
}
#define LUMO_NO_SANITIZE_THREAD __attribute__((no_sanitize("thread")))
#else
#define LUMO_NO_SANITIZE_THREAD
#endif

namespace lumo::calibration {
namespace {

// More threads than this bring nothing, and the runtime ends the process when the system refuses to make one.
constexpr int kMaxWorkers = 256;

// Waking a thread takes as long as converting about this many elements.
constexpr std::size_t kElementsWorthAThread = 2048;

// Pieces begin on cache lines of their own as far as the array does.
constexpr std::size_t kElementsPerLine = 8;

// Set in a forked child, for the thread that forked: the runtime keeps its workers per thread that starts
// regions, so threads made in the child are not concerned.
thread_local bool workersLostByFork = false;

void noteFork() { workersLostByFork = true; }

// Registered when the library is loaded, not at its first parallel loop, since the workers may as well belong
// to another user of the runtime in this process. The C library drops the handler when the library is
// unloaded.
[[maybe_unused]] const int forkHandlerRegistered = pthread_atfork(nullptr, nullptr, &noteFork);

// The runtime's start and end of a region order memory, but it is not instrumented: tell the thread
// sanitizer.
void announce([[maybe_unused]] void* token) {
#ifdef LUMO_THREAD_SANITIZER
    __tsan_release(token);
#endif
}

void await([[maybe_unused]] void* token) {
#ifdef LUMO_THREAD_SANITIZER
    __tsan_acquire(token);
#endif
}

struct Region {
    std::size_t count;
    WorkFunction work;
    void* context;
};

void runPiece(Region& region, int worker, int workers) {
    await(&region);
    const std::size_t lines = (region.count + kElementsPerLine - 1) / kElementsPerLine;
    const auto all = static_cast<std::size_t>(workers);
    const std::size_t piece = (lines + all - 1) / all * kElementsPerLine;
    const std::size_t begin = std::min(region.count, static_cast<std::size_t>(worker) * piece);
    const std::size_t end = std::min(region.count, begin + piece);
    if (begin < end) {
        region.work(region.context, begin, end);
    }
    announce(&region.count);
}

int workersFor(std::size_t count) {
    const std::size_t useful = count / kElementsWorthAThread;
    return static_cast<int>(std::min<std::size_t>(
        useful, static_cast<std::size_t>(std::clamp(omp_get_max_threads(), 1, kMaxWorkers))));
}

LUMO_NO_SANITIZE_THREAD void runParallel(Region& region, int workers) {
#pragma omp parallel num_threads(workers)
    runPiece(region, omp_get_thread_num(), omp_get_num_threads());
}

}  // namespace

bool isInParallelRegion() { return omp_in_parallel() != 0; }

void runOnWorkerThreads(std::size_t count, WorkFunction work, void* context) {
    const int workers = workersFor(count);
    if (workers <= 1 || workersLostByFork) {
        work(context, 0, count);
        return;
    }
    Region region{count, work, context};
    announce(&region);
    runParallel(region, workers);
    await(&region.count);
}

}  // namespace lumo::calibration
