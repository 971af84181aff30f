#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "diag/assert.h"
#include "kovarun/run/task_limits.h"
#include "sys/fork_gate.h"
#include "sys/thread.h"

// Worker threads read ahead, and their results come in the order of the tasks, so the caller sees the same
// whatever the number of threads. What waits is bounded twice: by its number, and by the memory that the
// results are expected to need. The task that is asked for next may always begin, so a result that alone
// exceeds the budget stops nothing, and who waits for a result never waits for ever.
//
// Each thread makes its own worker (a reader, buffers) and uses no other. With one thread, or where the
// system gives none, tasks are done on the calling thread when they are asked for.
//
// The lock is held for bookkeeping only, never while a task is done. One thread calls next(), and destroys
// the object.
namespace lumo::run {

template <class Result>
class OrderedTasks {
public:
    // Does a task, by its number. Used by one thread.
    using Worker = std::function<Result(std::size_t)>;

    // `makeWorker` and the workers are called by several threads at once, each worker by one; `expectedBytes`
    // is called under the lock, so it must be quick, and says about how much memory a task's result will
    // need. What they capture must outlive this object.
    OrderedTasks(std::size_t tasks, TaskLimits limits, std::function<Worker()> makeWorker,
                 std::function<std::uint64_t(std::size_t)> expectedBytes)
        : shared(std::make_unique<Shared>(tasks, limits, std::move(makeWorker), std::move(expectedBytes))) {
        if (limits.threads > 1 && tasks > 1) {
            startThreads(std::min<std::size_t>(limits.threads, tasks));
        }
    }
    OrderedTasks(const OrderedTasks&) = delete;
    OrderedTasks& operator=(const OrderedTasks&) = delete;

    ~OrderedTasks() {
        if (!threads.empty() && sys::forkGeneration() != process) {
            // The threads are the parent's, and may hold what is shared for ever.
            for (sys::Thread& thread : threads) {
                thread.forget();
            }
            static_cast<void>(shared.release());
            return;
        }
        shared->stop();
        for (sys::Thread& thread : threads) {
            thread.join();
        }
    }

    // The result of the next task, empty after the last. Raises what the task raised.
    std::optional<Result> next() {
        if (given == shared->count) {
            return std::nullopt;
        }
        ++given;
        if (threads.empty()) {
            if (!own) {
                own = shared->makeWorker();
            }
            return own(given - 1);
        }
        return shared->takeFirst();
    }

private:
    // A task that has begun: nothing yet, then its result or its failure.
    struct Slot {
        std::optional<Result> result;
        std::exception_ptr failure;
        std::uint64_t bytes = 0;
    };

    struct Shared {
        Shared(std::size_t tasks, TaskLimits limit, std::function<Worker()> make,
               std::function<std::uint64_t(std::size_t)> expected)
            : count(tasks),
              limits(limit),
              makeWorker(std::move(make)),
              expectedBytes(std::move(expected)),
              slots(3 * std::size_t{limit.threads}) {}

        const std::size_t count;
        const TaskLimits limits;
        const std::function<Worker()> makeWorker;
        const std::function<std::uint64_t(std::size_t)> expectedBytes;

        std::mutex mutex;  // guards what follows
        std::condition_variable changed;
        std::vector<Slot>
            slots;  // of tasks that have begun and were not given yet, by their number modulo its size
        std::size_t firstTask = 0;  // the next to be given
        std::size_t nextTask = 0;   // the next to be begun
        std::uint64_t waiting = 0;  // expected bytes of all that have begun
        bool stopped = false;

        Slot& slotOf(std::size_t task) { return slots[task % slots.size()]; }

        void stop() {
            const std::lock_guard lock(mutex);
            stopped = true;
            changed.notify_all();
        }

        // The first rule keeps the caller from waiting for ever, the second keeps what waits within its
        // bounds.
        bool mayBegin(std::uint64_t bytes) const {
            return firstTask == nextTask ||
                   (waiting + bytes <= limits.memoryBudget && nextTask - firstTask < slots.size());
        }

        // The number of the next task for a thread; empty when there is nothing left to do.
        std::optional<std::size_t> begin() {
            std::unique_lock lock(mutex);
            for (;;) {
                if (stopped || nextTask == count) {
                    return std::nullopt;
                }
                const std::uint64_t bytes = expectedBytes(nextTask);
                if (mayBegin(bytes)) {
                    slotOf(nextTask).bytes = bytes;
                    waiting += bytes;
                    return nextTask++;
                }
                changed.wait(lock);
            }
        }

        void finish(std::size_t task, std::optional<Result> result, const std::exception_ptr& failure) {
            const std::lock_guard lock(mutex);
            LUMO_ASSERT(task >= firstTask && task < nextTask);
            Slot& slot = slotOf(task);
            slot.result = std::move(result);
            slot.failure = failure;
            changed.notify_all();
        }

        // The slot is emptied before a failure is raised, so the next call asks for the next task.
        Result takeFirst() {
            Slot first;
            {
                std::unique_lock lock(mutex);
                Slot& slot = slotOf(firstTask);
                changed.wait(lock, [&] { return slot.result || slot.failure; });
                first = std::exchange(slot, {});
                ++firstTask;
                waiting -= first.bytes;
                changed.notify_all();
            }
            if (first.failure) {
                std::rethrow_exception(first.failure);
            }
            return std::move(*first.result);
        }

        // A thread's life. If its worker cannot be made, the task at hand fails with the reason, and the next
        // task tries again.
        void serve() noexcept {
            Worker worker;
            while (const std::optional<std::size_t> task = begin()) {
                std::optional<Result> result;
                std::exception_ptr failure;
                try {
                    if (!worker) {
                        worker = makeWorker();
                    }
                    result = worker(*task);
                } catch (...) {
                    failure = std::current_exception();
                }
                finish(*task, std::move(result), failure);
            }
        }
    };

    // As many as the system gives; with none, `threads` stays empty and next() does the work.
    void startThreads(std::size_t wanted) {
        process = sys::forkGeneration();
        threads.resize(wanted);
        const auto body = [](void* argument) noexcept { static_cast<Shared*>(argument)->serve(); };
        std::size_t started = 0;
        while (started < wanted && threads[started].start("kovarun", body, shared.get())) {
            ++started;
        }
        threads.resize(started);
    }

    std::unique_ptr<Shared> shared;
    std::vector<sys::Thread> threads;
    unsigned process = 0;  // that has the threads
    std::size_t given = 0;
    Worker own;  // of the calling thread
};

}  // namespace lumo::run
