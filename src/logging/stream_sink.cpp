#include "logging/stream_sink.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "sys/interrupted_calls.h"

// Writes to the descriptor and not through the stream: when a signal interrupts a write half-way, or a pipe
// that does not block is full, the stream would drop the rest. What the host has left in the stream's buffer
// is flushed first, so the order stays.
namespace lumo::logging {

namespace {

// Writes until everything is out or cannot be written. A pipe that is full is waited for.
void writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written =
            sys::repeatInterrupted([&] { return ::write(descriptor, text.data(), text.size()); });
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
            continue;
        }
        pollfd ready = {descriptor, POLLOUT, 0};
        if (errno != EAGAIN || sys::repeatInterrupted([&] { return poll(&ready, 1, -1); }) < 0) {
            return;
        }
    }
}

}  // namespace

void StreamSink::sink_it_(const spdlog::details::log_msg& message) {
    spdlog::memory_buf_t line;
    formatter_->format(message, line);
    flockfile(stream);
    std::fflush(stream);
    writeAll(fileno(stream), {line.data(), line.size()});
    funlockfile(stream);
}

}  // namespace lumo::logging
