#pragma once

#include <mutex>
#include <string>
#include <vector>

#include <spdlog/common.h>

#include "logging/fork_guard.h"
#include "logging/level.h"

namespace lumo::logging {

// Where every logger writes to. Owned by all loggers together: some may outlive the static objects of this
// library.
//
// The lock protects the list and not the writing: log() copies the list and lets go of the lock, so that a
// slow sink holds up nobody who writes elsewhere, and a configuration can be replaced while messages are
// under way. Each sink has a lock of its own.
class SinkSet final : private ForkAware {
public:
    void log(const std::string& name, Level level, const std::string& message);

    void replace(std::vector<spdlog::sink_ptr> newSinks);

    // Ends the threads of asynchronous sinks, after they have written what waits.
    void stopThreads();

private:
    void lockForFork() override { mutex.lock(); }
    void unlockInParent() override { mutex.unlock(); }
    void unlockInChild() override { mutex.unlock(); }

    std::vector<spdlog::sink_ptr> current();

    std::mutex mutex;
    std::vector<spdlog::sink_ptr> sinks;
    ForkEnlistment enlistment{*this};
};

}  // namespace lumo::logging
