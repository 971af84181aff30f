#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>

#include <spdlog/details/log_msg_buffer.h>
#include <spdlog/sinks/sink.h>

#include "logging/fork_guard.h"
#include "logging/settings.h"
#include "sys/thread.h"

namespace lumo::logging {

// Hands messages to another sink in a thread of its own, through a bounded queue of at least one message. The
// thread starts with the first message, takes no signals, and is gone after stop(). A forked child starts
// with an empty queue and without the thread; what waited is written by the parent.
class AsyncSink final : public spdlog::sinks::sink, private ForkAware {
public:
    AsyncSink(std::shared_ptr<spdlog::sinks::sink> wrapped, std::size_t queueSize, Overflow whenFull);
    ~AsyncSink() override { stop(); }

    void log(const spdlog::details::log_msg& message) override;
    void flush() override {}
    void set_pattern(const std::string&) override {}
    void set_formatter(std::unique_ptr<spdlog::formatter>) override {}

    // Returns when everything that waits is written. Later messages are written at once.
    void stop();

private:
    void lockForFork() override { mutex.lock(); }
    void unlockInParent() override { mutex.unlock(); }
    void unlockInChild() override;

    bool enqueue(const spdlog::details::log_msg& message);
    bool ensureWorker() noexcept;
    void work();
    void writeNext(std::unique_lock<std::mutex>& lock);

    const std::shared_ptr<spdlog::sinks::sink> target;
    const std::size_t capacity;
    const Overflow overflow;

    // Guards what follows; never held while the target writes.
    std::mutex mutex;
    std::condition_variable arrived;
    std::condition_variable room;
    std::deque<spdlog::details::log_msg_buffer> waiting;
    std::size_t dropped = 0;
    bool stopping = false;
    sys::Thread worker;
    ForkEnlistment enlistment{*this};
};

}  // namespace lumo::logging
