#include "logging/line_formatter.h"

#include <string>
#include <string_view>

#include <unistd.h>

#include "logging/spdlog_level.h"
#include "sys/iso8601.h"

// One message as one line: time, level, process and thread, logger, text. Texts contain names of files and
// values from databases, so bytes that a terminal could take for commands are written as \x and two digits.
// Further lines of a text are indented, so that each message begins at the left margin and no file can forge
// one.
namespace lumo::logging {

namespace {

void append(spdlog::memory_buf_t& line, std::string_view text) {
    line.append(text.data(), text.data() + text.size());
}

// Line breaks are kept, and so are tabs; everything else that a terminal might obey is not.
bool isControl(char c) {
    return (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n') || c == 0x7F;
}

void appendEscaped(spdlog::memory_buf_t& line, char c) {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(c);
    append(line, "\\x");
    line.push_back(digits[byte >> 4]);
    line.push_back(digits[byte & 15]);
}

void appendText(spdlog::memory_buf_t& line, std::string_view text) {
    // Stack traces end with a line break of their own.
    text = text.substr(0, text.find_last_not_of('\n') + 1);
    for (const char c : text) {
        if (isControl(c)) {
            appendEscaped(line, c);
        } else {
            line.push_back(c);
        }
        if (c == '\n') {
            append(line, "    ");
        }
    }
}

}  // namespace

void LineFormatter::format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& line) {
    append(line, sys::iso8601(message.time));
    append(line, " ");
    // The level is what a sink with colours shows in colour.
    message.color_range_start = line.size();
    append(line, levelName(fromSpdlog(message.level)));
    message.color_range_end = line.size();
    append(line, " [" + std::to_string(getpid()) + ":" + std::to_string(message.thread_id) + "] ");
    append(line, {message.logger_name.data(), message.logger_name.size()});
    append(line, ": ");
    appendText(line, {message.payload.data(), message.payload.size()});
    append(line, "\n");
}

std::unique_ptr<spdlog::formatter> LineFormatter::clone() const { return std::make_unique<LineFormatter>(); }

}  // namespace lumo::logging
