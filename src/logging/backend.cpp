#include "logging/backend.h"

#include <array>
#include <atomic>
#include <mutex>
#include <unordered_map>

#include <spdlog/logger.h>

#include "logging/logger.h"

namespace lumo::logging {

class LoggerImpl {
public:
    explicit LoggerImpl(std::string dottedName) : name(std::move(dottedName)) {}

    std::string name;
    std::atomic<int> threshold{static_cast<int>(Level::Off)};
    // Replaced as a whole by configure() while other threads may be writing.
    std::shared_ptr<spdlog::logger> target;
};

namespace {

// Set at unload or exit. A host may close its handles from destructors that run after those of this library.
std::atomic<bool> destroyed{false};

spdlog::level::level_enum spdlogLevel(Level level) {
    constexpr std::array levels = {spdlog::level::trace, spdlog::level::debug, spdlog::level::info,
                                   spdlog::level::warn,  spdlog::level::err,   spdlog::level::critical,
                                   spdlog::level::off};
    return levels[static_cast<std::size_t>(level)];
}

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

// Own registry instead of the back end's global one, which the host program may be using with other settings.
class Registry {
public:
    static Registry& instance() {
        static Registry registry;
        return registry;
    }

    Registry() = default;
    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;
    ~Registry() { destroyed = true; }

    std::shared_ptr<LoggerImpl> get(std::string_view name) {
        const std::lock_guard lock(mutex);
        auto& impl = loggers[std::string(name)];
        if (!impl) {
            impl = std::make_shared<LoggerImpl>(std::string(name));
            apply(*impl);
        }
        return impl;
    }

    void configure(Configuration newConfiguration) {
        const std::lock_guard lock(mutex);
        configuration = std::move(newConfiguration);
        for (const auto& entry : loggers) {
            apply(*entry.second);
        }
    }

private:
    void apply(LoggerImpl& impl) const {
        auto target = std::make_shared<spdlog::logger>(impl.name, configuration.sinks.begin(),
                                                       configuration.sinks.end());
        target->set_level(spdlog::level::trace);
        target->flush_on(spdlog::level::err);
        std::atomic_store(&impl.target, std::move(target));
        impl.threshold.store(static_cast<int>(levelFor(configuration, impl.name)), std::memory_order_relaxed);
    }

    std::mutex mutex;
    std::unordered_map<std::string, std::shared_ptr<LoggerImpl>> loggers;
    Configuration configuration;
};

}  // namespace

Logger Logger::getLogger(std::string_view name) {
    if (destroyed) {
        return Logger(std::make_shared<LoggerImpl>(std::string(name)));
    }
    return Logger(Registry::instance().get(name));
}

bool Logger::isEnabled(Level level) const noexcept {
    return static_cast<int>(level) >= impl->threshold.load(std::memory_order_relaxed);
}

void Logger::write(Level level, const std::string& message) const noexcept {
    try {
        std::atomic_load(&impl->target)->log(spdlogLevel(level), message);
    } catch (...) {
        // A message that cannot be written must not change what the call does.
        return;
    }
}

void configure(Configuration configuration) { Registry::instance().configure(std::move(configuration)); }

}  // namespace lumo::logging
