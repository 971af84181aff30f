#include "logging/locked_sink.h"

#include <exception>
#include <string>

#include "logging/complaint.h"
#include "logging/line_formatter.h"

// The lock around a sink of the back end, which is used without locks of its own. The sink is flushed after
// each message: a process that ends in any way has lost nothing, and a forked child holds no text of its
// parent's that it would write a second time.
namespace lumo::logging {

LockedSink::LockedSink(Make makeSink, InChild whatInChild)
    : make(std::move(makeSink)), inChild(whatInChild), sink(makeFormatted()) {}

std::unique_ptr<spdlog::sinks::sink> LockedSink::makeFormatted() const {
    std::unique_ptr<spdlog::sinks::sink> made = make();
    made->set_formatter(std::make_unique<LineFormatter>());
    return made;
}

void LockedSink::log(const spdlog::details::log_msg& message) {
    const std::lock_guard lock(mutex);
    if (!sink) {
        return;
    }
    try {
        write(message);
    } catch (const std::exception& error) {
        // The back end's file sink must not be used again once a rotation has failed half-way.
        sink.reset();
        complain(std::string("a sink is closed after a failure: ") + error.what());
    }
}

void LockedSink::write(const spdlog::details::log_msg& message) {
    if (outdated) {
        sink = makeFormatted();
        outdated = false;
    }
    sink->log(message);
    sink->flush();
}

void LockedSink::unlockInChild() {
    outdated = inChild == InChild::Reopen;
    mutex.unlock();
}

}  // namespace lumo::logging
