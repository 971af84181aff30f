#include "logging/backend.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <unordered_map>

#include <pthread.h>

#include "logging/complaint.h"
#include "logging/fork_guard.h"
#include "logging/logger.h"
#include "logging/settings_source.h"
#include "logging/sink_factory.h"
#include "logging/sink_set.h"
#include "sys/environment.h"
#include "sys/interrupted_fork.h"
#include "sys/never_destroyed.h"

// Loggers by name, their levels, and what happens to them in a fork and at the end of the process. The
// registry is one object that lives as long as the process; loggers refer to shared state, so they stay
// usable after stop(), and are off then.
//
// What must stay true: the registry's lock is taken before those of sinks, in a fork too; and everything that
// takes a lock says so by sys::MayHoldForkLocks, so that a signal handler that forks in the middle of it
// waits for nobody.
namespace lumo::logging {

class LoggerImpl {
public:
    LoggerImpl(std::string dottedName, std::shared_ptr<SinkSet> sharedSinks)
        : name(std::move(dottedName)), sinks(std::move(sharedSinks)) {}

    const std::string name;
    std::atomic<int> threshold{static_cast<int>(Level::Off)};
    const std::shared_ptr<SinkSet> sinks;
};

namespace {

// Set in a child whose parent was interrupted in the middle of logging: locks may be held by threads that do
// not exist there, so that child never logs.
std::atomic<bool> abandoned{false};

bool covers(std::string_view prefix, std::string_view name) {
    return prefix.empty() || name == prefix || (name.starts_with(prefix) && name[prefix.size()] == '.');
}

// Of prefixes that cover a name the longest counts, whatever their order in the file. Without a sink every
// level is off, so messages are not even composed.
Level levelFor(const Configuration& configuration, std::string_view name) {
    Level level = Level::Off;
    std::size_t longest = 0;
    for (const auto& [prefix, prefixLevel] : configuration.levels) {
        if (covers(prefix, name) && prefix.size() >= longest) {
            longest = prefix.size();
            level = prefixLevel;
        }
    }
    return configuration.sinks.empty() ? Level::Off : level;
}

// The configuration that the environment asks for. A host program with more rights than its user must not
// write where the user says.
Configuration environmentConfiguration() {
    if (sys::runsWithElevatedRights()) {
        return {};
    }
    try {
        const std::optional<Settings> settings = findSettings(Surroundings::ofThisProcess());
        return settings ? makeConfiguration(*settings) : Configuration{};
    } catch (const std::exception& error) {
        complain("stays off, " + std::string(error.what()));
        return {};
    }
}

// A registry of our own, as the host program may be using the back end's global one with other settings. It
// is never destroyed, since other threads may still be calling at exit. stop() releases what it holds; what
// callers still use lives as long as they do.
class Registry {
public:
    Registry() { pthread_atfork(&beforeFork, &afterForkInParent, &afterForkInChild); }

    // Returns when everything that waits is written. Nothing is logged afterwards.
    void stop() {
        // Both are destroyed after the lock has been given back.
        // cppcheck-suppress variableScope
        std::unordered_map<std::string, std::shared_ptr<LoggerImpl>> lastLoggers;
        std::shared_ptr<SinkSet> lastSinks;
        {
            const std::lock_guard lock(mutex);
            for (const auto& entry : loggers) {
                entry.second->threshold = static_cast<int>(Level::Off);
            }
            configuration = {};
            lastLoggers.swap(loggers);
            lastSinks.swap(sinks);
        }
        lastSinks->stopThreads();
        lastSinks->replace({});
    }

    std::shared_ptr<LoggerImpl> get(std::string_view name) {
        const std::lock_guard lock(mutex);
        if (!sinks) {
            return std::make_shared<LoggerImpl>(std::string(name), nullptr);
        }
        if (!configured) {
            use(environmentConfiguration());
        }
        auto& impl = loggers[std::string(name)];
        if (!impl) {
            impl = std::make_shared<LoggerImpl>(std::string(name), sinks);
            applyLevel(*impl);
        }
        return impl;
    }

    void configure(Configuration newConfiguration) {
        const std::lock_guard lock(mutex);
        use(std::move(newConfiguration));
    }

private:
    // The registry's lock comes before the locks of sinks. The C library drops the handlers when the library
    // is unloaded.
    static void beforeFork();
    static void afterForkInParent();
    static void afterForkInChild();

    void use(Configuration newConfiguration) {
        configured = true;
        configuration = std::move(newConfiguration);
        sinks->replace(configuration.sinks);
        for (const auto& entry : loggers) {
            applyLevel(*entry.second);
        }
    }

    void applyLevel(LoggerImpl& impl) const {
        impl.threshold.store(static_cast<int>(levelFor(configuration, impl.name)), std::memory_order_relaxed);
    }

    std::mutex mutex;
    std::unordered_map<std::string, std::shared_ptr<LoggerImpl>> loggers;
    std::shared_ptr<SinkSet> sinks = std::make_shared<SinkSet>();
    Configuration configuration;
    bool configured = false;
};

// Made when the library is loaded: a first use in two threads, one of which forks, would leave it half made
// in the child.
sys::NeverDestroyed<Registry> registry;

void Registry::beforeFork() {
    if (!sys::isForkInterrupting()) {
        registry->mutex.lock();
        lockAllForFork();
    }
}

void Registry::afterForkInParent() {
    if (!sys::isForkInterrupting()) {
        unlockAllInParent();
        registry->mutex.unlock();
    }
}

void Registry::afterForkInChild() {
    if (sys::isForkInterrupting()) {
        abandoned = true;
        return;
    }
    unlockAllInChild();
    registry->mutex.unlock();
}

// At unload and exit.
[[gnu::destructor]] void stopLogging() {
    if (!abandoned) {
        const sys::MayHoldForkLocks here;
        registry->stop();
    }
}

}  // namespace

Logger::Logger(std::shared_ptr<LoggerImpl> shared) : impl(std::move(shared)), threshold(&impl->threshold) {}

Logger Logger::getLogger(std::string_view name) {
    if (abandoned) {
        return Logger(std::make_shared<LoggerImpl>(std::string(name), nullptr));
    }
    const sys::MayHoldForkLocks here;
    return Logger(registry->get(name));
}

void Logger::write(Level level, const std::string& message) const noexcept {
    if (abandoned || !impl->sinks) {
        return;
    }
    const sys::MayHoldForkLocks here;
    try {
        impl->sinks->log(impl->name, level, message);
    } catch (...) {
        // A message that cannot be written must not change what the call does.
        return;
    }
}

void configure(Configuration configuration) { registry->configure(std::move(configuration)); }

}  // namespace lumo::logging
