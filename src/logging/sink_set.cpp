#include "logging/sink_set.h"

#include <spdlog/details/log_msg.h>
#include <spdlog/sinks/sink.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "logging/async_sink.h"
#include "logging/spdlog_level.h"

// Where messages go, for all loggers. Each message works on a copy of the list, so a configuration can be
// replaced while others log, and a sink lives until the last message to it is written.
namespace lumo::logging {

namespace {

spdlog::details::log_msg makeMessage(const std::string& name, Level level, const std::string& text) {
    spdlog::details::log_msg message;
    message.time = spdlog::log_clock::now();
    message.logger_name = name;
    message.level = toSpdlog(level);
    message.payload = text;
    // The back end would remember the thread id, and a forked child has another one.
    message.thread_id = static_cast<std::size_t>(syscall(SYS_gettid));
    return message;
}

}  // namespace

void SinkSet::log(const std::string& name, Level level, const std::string& message) {
    const spdlog::details::log_msg entry = makeMessage(name, level, message);
    for (const spdlog::sink_ptr& sink : current()) {
        if (sink->should_log(entry.level)) {
            sink->log(entry);
        }
    }
}

void SinkSet::replace(std::vector<spdlog::sink_ptr> newSinks) {
    const std::lock_guard lock(mutex);
    sinks.swap(newSinks);
}

// Outside of the lock, so that others can log while the threads write what waits.
void SinkSet::stopThreads() {
    for (const spdlog::sink_ptr& sink : current()) {
        if (auto* const async = dynamic_cast<AsyncSink*>(sink.get())) {
            async->stop();
        }
    }
}

std::vector<spdlog::sink_ptr> SinkSet::current() {
    const std::lock_guard lock(mutex);
    return sinks;
}

}  // namespace lumo::logging
