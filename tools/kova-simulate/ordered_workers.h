#pragma once

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace simulator {

// Makes results 0 ... count - 1 on several threads and hands them out in their order. Workers run ahead of
// the reader by a few results, which bounds the memory. Each thread makes a worker of its own; worker(number)
// gives a result. The first failure of any worker is raised by the reader's next call.
template <typename Result>
class OrderedWorkers {
public:
    template <typename MakeWorker>
    OrderedWorkers(std::size_t resultCount, unsigned threadCount, MakeWorker makeWorker)
        : count(resultCount), ahead(std::size_t{4} * threadCount) {
        for (unsigned i = 0; i < threadCount; ++i) {
            threads.emplace_back([this, makeWorker] { work(makeWorker); });
        }
    }
    ~OrderedWorkers() {
        {
            const std::lock_guard lock(mutex);
            isStopped = true;
        }
        mayWork.notify_all();
    }
    OrderedWorkers(const OrderedWorkers&) = delete;
    OrderedWorkers& operator=(const OrderedWorkers&) = delete;

    // The next result. Raises what a worker has raised.
    Result next() {
        std::unique_lock lock(mutex);
        mayRead.wait(lock, [this] { return failure || finished.count(read) != 0; });
        if (failure) {
            std::rethrow_exception(failure);
        }
        const auto found = finished.find(read++);
        Result result = std::move(found->second);
        finished.erase(found);
        mayWork.notify_all();
        return result;
    }

private:
    template <typename MakeWorker>
    void work(MakeWorker makeWorker) {
        try {
            auto worker = makeWorker();
            std::size_t number = 0;
            while (take(number)) {
                Result result = worker(number);
                const std::lock_guard lock(mutex);
                finished.emplace(number, std::move(result));
                mayRead.notify_one();
            }
        } catch (...) {
            const std::lock_guard lock(mutex);
            failure = std::current_exception();
            mayRead.notify_one();
        }
    }

    // The number to work on next; false if nothing is left to do.
    bool take(std::size_t& number) {
        std::unique_lock lock(mutex);
        mayWork.wait(lock, [this] { return isStopped || taken == count || taken < read + ahead; });
        if (isStopped || taken == count) {
            return false;
        }
        number = taken++;
        return true;
    }

    std::size_t count;
    std::size_t ahead;
    std::mutex mutex;
    std::condition_variable mayWork;
    std::condition_variable mayRead;
    std::map<std::size_t, Result> finished;
    std::size_t taken = 0;
    std::size_t read = 0;
    bool isStopped = false;
    std::exception_ptr failure;
    std::vector<std::jthread> threads;  // last, so that they end before what they use
};

}  // namespace simulator
