#include "kova/output/output_buffer.h"

#include <cerrno>
#include <system_error>

#include "common/interruption.h"
#include "common/terminal.h"
#include "kova/failure.h"

// Output in large pieces. Each piece is also where Ctrl-C is noticed, so a long table ends soon after it.
// Nothing is flushed when a buffer is destroyed: a verb that fails must not end with half of a result.
namespace kova_tool {
namespace {

constexpr std::size_t kBufferBytes = std::size_t{1} << 16;

}  // namespace

NumberText::NumberText(double value, int decimals) {
    const auto fixed = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals);
    if (fixed.ec == std::errc()) {
        length = static_cast<std::size_t>(fixed.ptr - text);
    } else {
        writeShortest(value);
    }
}

NumberText NumberText::withoutExponent(double value) {
    NumberText number(value);
    const auto fixed =
        std::to_chars(number.text, number.text + sizeof number.text, value, std::chars_format::fixed);
    if (fixed.ec != std::errc()) {
        return NumberText(value);
    }
    number.length = static_cast<std::size_t>(fixed.ptr - number.text);
    return number;
}

OutputBuffer::OutputBuffer(int fileDescriptor)
    : descriptor(fileDescriptor),
      lineWidth(kova_tool_common::terminalWidth(fileDescriptor).value_or(SIZE_MAX)) {
    pending.reserve(2 * kBufferBytes);
}

OutputBuffer& OutputBuffer::operator<<(std::string_view text) {
    pending += text;
    if (pending.size() >= kBufferBytes) {
        flush();
    }
    return *this;
}

OutputBuffer& OutputBuffer::operator<<(char character) { return *this << std::string_view(&character, 1); }

void OutputBuffer::repeat(char character, std::size_t count) { pending.append(count, character); }

void OutputBuffer::flush() {
    kova_tool_common::stopIfInterrupted();
    std::string_view rest = pending;
    while (!rest.empty() && !readerGone) {
        const ssize_t written = ::write(descriptor, rest.data(), rest.size());
        if (written >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EPIPE) {
            readerGone = true;
        } else if (errno != EINTR) {
            throw Failure("cannot write the output: " + std::generic_category().message(errno));
        }
    }
    pending.clear();
}

}  // namespace kova_tool
