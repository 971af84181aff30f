#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include <spdlog/sinks/sink.h>

#include "logging/fork_guard.h"

namespace lumo::logging {

// One place where messages end up: a sink of the back end without a lock, and the lock for it, which a fork
// can take. When log() returns, the message has been handed to the system. A sink that fails says so once on
// standard error and is silent from then on.
class LockedSink final : public spdlog::sinks::sink, private ForkAware {
public:
    using Make = std::function<std::unique_ptr<spdlog::sinks::sink>()>;
    // What a forked child does: it writes to the same file as the parent, or makes a sink of its own at its
    // first message.
    enum class InChild { Share, Reopen };

    LockedSink(Make makeSink, InChild whatInChild);

    void log(const spdlog::details::log_msg& message) override;
    void flush() override {}
    void set_pattern(const std::string&) override {}
    void set_formatter(std::unique_ptr<spdlog::formatter>) override {}

private:
    void lockForFork() override { mutex.lock(); }
    void unlockInParent() override { mutex.unlock(); }
    void unlockInChild() override;

    std::unique_ptr<spdlog::sinks::sink> makeFormatted() const;
    void write(const spdlog::details::log_msg& message);

    const Make make;
    const InChild inChild;
    std::mutex mutex;
    std::unique_ptr<spdlog::sinks::sink> sink;
    bool outdated = false;
    ForkEnlistment enlistment{*this};
};

}  // namespace lumo::logging
