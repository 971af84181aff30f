#pragma once

#include <memory>

#include <spdlog/formatter.h>

namespace lumo::logging {

// How an entry of the log looks: "2024-02-29T23:59:59.000001Z DEBUG [process:thread] name: text". A line that
// begins with a time stamp is always an entry, since further lines of a text are indented. Control characters
// are written as \xNN.
class LineFormatter final : public spdlog::formatter {
public:
    void format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& line) override;
    std::unique_ptr<spdlog::formatter> clone() const override;
};

}  // namespace lumo::logging
