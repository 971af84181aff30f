#include "logging/backend.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <unordered_map>

#include <pthread.h>

#include "logging/cancellation.h"
#include "logging/complaint.h"
#include "logging/fork_guard.h"
#include "logging/logger.h"
#include "logging/settings_source.h"
#include "logging/sink_factory.h"
#include "logging/sink_set.h"
#include "sys/environment.h"

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

// Set at unload or exit. A host may close its handles from destructors that run after those of this library.
std::atomic<bool> destroyed{false};

bool covers(std::string_view prefix, std::string_view name) {
    return prefix.empty() || name == prefix || (name.starts_with(prefix) && name[prefix.size()] == '.');
}

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

// What the environment asks for. A host program with more rights than its user must not write where the user says.
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

// Own registry instead of the back end's global one, which the host program may be using with other settings.
class Registry {
public:
    Registry() { pthread_atfork(&beforeFork, &afterForkInParent, &afterForkInChild); }
    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;

    ~Registry() {
        destroyed = true;
        sinks->stopThreads();
    }

    std::shared_ptr<LoggerImpl> get(std::string_view name) {
        const std::lock_guard lock(mutex);
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
    // The registry's lock comes before the locks of sinks. The C library drops the handlers when the library is unloaded.
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

// Made when the library is loaded: a first use in two threads, one of which forks, would leave it half made in the child.
Registry registry;

void Registry::beforeFork() {
    registry.mutex.lock();
    lockAllForFork();
}

void Registry::afterForkInParent() {
    unlockAllInParent();
    registry.mutex.unlock();
}

void Registry::afterForkInChild() {
    unlockAllInChild();
    registry.mutex.unlock();
}

}  // namespace

Logger::Logger(std::shared_ptr<LoggerImpl> shared) : impl(std::move(shared)), threshold(&impl->threshold) {}

Logger Logger::getLogger(std::string_view name) {
    if (destroyed) {
        return Logger(std::make_shared<LoggerImpl>(std::string(name), nullptr));
    }
    return Logger(registry.get(name));
}

void Logger::write(Level level, const std::string& message) const noexcept {
    const CancellationDisabled untilWritten;
    try {
        if (impl->sinks) {
            impl->sinks->log(impl->name, level, message);
        }
    } catch (...) {
        // A message that cannot be written must not change what the call does.
        return;
    }
}

void configure(Configuration configuration) { registry.configure(std::move(configuration)); }

}  // namespace lumo::logging
