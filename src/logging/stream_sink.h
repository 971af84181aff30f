#pragma once

#include <cstdio>

#include <spdlog/details/null_mutex.h>
#include <spdlog/sinks/base_sink.h>

namespace lumo::logging {

// Writes messages to a stream of the process, after what the host has written to it. Unlike the stream itself
// it loses nothing when a signal interrupts a write to a slow pipe.
class StreamSink final : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
public:
    explicit StreamSink(std::FILE* target) : stream(target) {}

private:
    void sink_it_(const spdlog::details::log_msg& message) override;
    void flush_() override {}

    std::FILE* stream;
};

}  // namespace lumo::logging
