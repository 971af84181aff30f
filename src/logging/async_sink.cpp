#include "logging/async_sink.h"

#include <memory>
#include <string>
#include <utility>

#include "diag/assert.h"

// A queue and one thread that writes. The thread is started by the first message, so a library that never
// logs has none; where none can be started, messages are written by whoever logs them. The lock of the queue
// is not held while a message is written: a slow disk delays the thread and not the callers, until the queue
// is full.
namespace lumo::logging {

namespace {

void writeLoss(spdlog::sinks::sink& target, std::size_t count, spdlog::details::log_msg message) {
    const std::string text = std::to_string(count) + " messages dropped, the queue was full";
    message.logger_name = "kovadata.logging";
    message.level = spdlog::level::warn;
    message.payload = text;
    target.log(message);
}

// For objects that cannot be destroyed in a forked child, because threads that are gone are still counted in
// them.
template <class T>
void replaceWithoutDestroying(T& object) {
    std::construct_at(&object);
}

}  // namespace

AsyncSink::AsyncSink(std::shared_ptr<spdlog::sinks::sink> wrapped, std::size_t queueSize, Overflow whenFull)
    : target(std::move(wrapped)), capacity(queueSize), overflow(whenFull) {
    LUMO_ASSERT(capacity >= 1);
}

void AsyncSink::log(const spdlog::details::log_msg& message) {
    if (!enqueue(message)) {
        target->log(message);
    }
}

// False if there is no thread to write the message.
bool AsyncSink::enqueue(const spdlog::details::log_msg& message) {
    std::unique_lock lock(mutex);
    if (stopping || !ensureWorker()) {
        return false;
    }
    if (waiting.size() >= capacity && overflow == Overflow::Drop) {
        ++dropped;
        return true;
    }
    room.wait(lock, [&] { return waiting.size() < capacity || stopping; });
    // A thread that waited for room while the writing thread was stopped writes its message itself.
    if (stopping) {
        return false;
    }
    waiting.emplace_back(message);
    arrived.notify_one();
    return true;
}

bool AsyncSink::ensureWorker() noexcept {
    return worker.isStarted() ||
           worker.start(
               "kovadata-log", [](void* self) noexcept { static_cast<AsyncSink*>(self)->work(); }, this);
}

void AsyncSink::work() {
    std::unique_lock lock(mutex);
    while (true) {
        arrived.wait(lock, [&] { return !waiting.empty() || stopping; });
        // Stopping, and everything that waited is written.
        if (waiting.empty()) {
            return;
        }
        writeNext(lock);
    }
}

void AsyncSink::writeNext(std::unique_lock<std::mutex>& lock) {
    const spdlog::details::log_msg_buffer message = std::move(waiting.front());
    waiting.pop_front();
    // Reported when the queue has run empty, so that the report needs no room in it.
    const std::size_t lost = waiting.empty() ? std::exchange(dropped, 0) : 0;
    lock.unlock();
    room.notify_one();
    target->log(message);
    if (lost != 0) {
        writeLoss(*target, lost, message);
    }
    lock.lock();
}

void AsyncSink::stop() {
    {
        const std::lock_guard lock(mutex);
        stopping = true;
        arrived.notify_all();
        room.notify_all();
    }
    worker.join();
}

// Only the forking thread exists here: the writing thread is gone, and so is everyone who waited. Messages in
// the queue are the parent's to write.
void AsyncSink::unlockInChild() {
    waiting.clear();
    dropped = 0;
    replaceWithoutDestroying(arrived);
    replaceWithoutDestroying(room);
    worker.forget();
    mutex.unlock();
}

}  // namespace lumo::logging
