// The threads that share numeric work. They are not those of the OpenMP runtime, although that decides how
// many there are: the runtime ends the process when the system refuses a thread, waits for ever in a forked
// child for threads that only the parent has, and is unloaded together with this library while its threads
// wait in it. Here a thread that is not to be had is one helper less, a child begins with none, and all are
// joined when the library is unloaded or the process exits.
//
// The pool itself is never destroyed: at exit other threads may still be calling, and then do their work
// alone.
//
// What must stay true: run() returns only when no helper looks at its job any more, because the job lives on
// the caller's stack; and the calling thread works too, so a job ends even if no helper ever comes.
#include "sys/worker_pool.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include <pthread.h>

#include "sys/interrupted_fork.h"
#include "sys/never_destroyed.h"
#include "sys/thread.h"

namespace lumo::sys {

namespace {

// How often a thread that has found nothing to do looks for more work before it sleeps, some 50 microseconds
// in all: calls often follow each other closely, and being woken takes as long as much of the work. Between
// two looks others get the processor.
constexpr int kLooks = 100;

// The work of one call. It lives on the caller's stack, in the pool's list while more helpers may join.
struct Job {
    Task task;
    void* context;
    std::size_t count;
    std::size_t places;  // for helpers that have not come yet
    std::size_t helpers = 0;
    Job* next = nullptr;
    std::atomic<std::size_t> taken = 0;

    void work() noexcept {
        for (std::size_t i = taken++; i < count; i = taken++) {
            task(context, i);
        }
    }
};

class Pool {
public:
    void run(Job& job);
    void stop();

    void lockForFork();
    void unlockInParent();
    void unlockInChild();

private:
    static void serve(void* pool) noexcept { static_cast<Pool*>(pool)->serve(); }
    void serve();
    bool publish(Job& job);
    void withdraw(Job& job);
    void linger(std::unique_lock<std::mutex>& lock);
    void engage();

    std::mutex mutex;
    std::condition_variable arrived;
    std::condition_variable finished;
    Job* first = nullptr;
    std::array<Thread, kMaxPoolThreads - 1> threads{};
    std::size_t started = 0;
    std::size_t idle = 0;
    std::size_t openPlaces = 0;  // of all jobs listed
    bool stopped = false;
    std::atomic<unsigned> announced = 0;
    std::atomic<bool> abandoned = false;
};

void Pool::run(Job& job) {
    const bool published = !abandoned && publish(job);
    job.work();
    if (published) {
        withdraw(job);
    }
}

bool Pool::publish(Job& job) {
    const std::lock_guard lock(mutex);
    if (stopped) {
        return false;
    }
    openPlaces += job.places;
    engage();
    job.next = first;
    first = &job;
    ++announced;
    for (std::size_t i = 0; i < job.places; ++i) {
        arrived.notify_one();
    }
    return true;
}

// Starts threads until there is one for each place, or none is to be had any more.
void Pool::engage() {
    while (idle < openPlaces && started < threads.size() &&
           threads[started].start("kovadata-work", &Pool::serve, this)) {
        ++started;
        ++idle;
    }
}

// Returns when no helper works for the job any more.
void Pool::withdraw(Job& job) {
    std::unique_lock lock(mutex);
    for (Job** place = &first; *place != nullptr; place = &(*place)->next) {
        if (*place == &job) {
            *place = job.next;
            openPlaces -= job.places;
            break;
        }
    }
    finished.wait(lock, [&] { return job.helpers == 0; });
}

void Pool::linger(std::unique_lock<std::mutex>& lock) {
    const unsigned before = announced;
    if (first != nullptr || stopped) {
        return;
    }
    lock.unlock();
    for (int look = 0; look < kLooks && announced == before; ++look) {
        std::this_thread::yield();
    }
    lock.lock();
}

void Pool::serve() {
    std::unique_lock lock(mutex);
    while (true) {
        linger(lock);
        arrived.wait(lock, [&] { return first != nullptr || stopped; });
        if (stopped) {
            return;
        }
        Job& job = *first;
        if (--job.places == 0) {
            first = job.next;
        }
        ++job.helpers;
        --openPlaces;
        --idle;
        lock.unlock();
        job.work();
        lock.lock();
        ++idle;
        if (--job.helpers == 0) {
            finished.notify_all();
        }
    }
}

void Pool::stop() {
    if (abandoned) {
        return;
    }
    {
        const std::lock_guard lock(mutex);
        stopped = true;
        arrived.notify_all();
    }
    for (Thread& thread : threads) {
        thread.join();
    }
}

void Pool::lockForFork() {
    if (!isForkInterrupting()) {
        mutex.lock();
    }
}

void Pool::unlockInParent() {
    if (!isForkInterrupting()) {
        mutex.unlock();
    }
}

// The threads are gone, and so are the callers whose work is listed.
void Pool::unlockInChild() {
    if (isForkInterrupting()) {
        abandoned = true;
        return;
    }
    first = nullptr;
    started = 0;
    idle = 0;
    openPlaces = 0;
    for (Thread& thread : threads) {
        thread.forget();
    }
    // Not destroyed: threads that are gone are still counted in there.
    std::construct_at(&arrived);
    std::construct_at(&finished);
    mutex.unlock();
}

NeverDestroyed<Pool> pool;

// When the library is loaded; the C library drops the handlers when it is unloaded.
[[maybe_unused]] const int kForkHandlersRegistered = pthread_atfork(
    [] { pool->lockForFork(); }, [] { pool->unlockInParent(); }, [] { pool->unlockInChild(); });

[[gnu::destructor]] void stopPool() { pool->stop(); }

}  // namespace

void runTasks(std::size_t count, std::size_t threads, Task task, void* context) {
    const std::size_t useful = std::min({count, threads, kMaxPoolThreads});
    Job job{.task = task, .context = context, .count = count, .places = useful <= 1 ? 0 : useful - 1};
    if (job.places == 0) {
        job.work();
        return;
    }
    const MayHoldForkLocks here;
    pool->run(job);
}

}  // namespace lumo::sys
