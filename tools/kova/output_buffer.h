#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kova_tool {

// Text of one number, made without allocation.
class NumberText {
public:
    template <std::integral Integer>
    explicit NumberText(Integer value) {
        end = std::to_chars(text, text + sizeof text, value).ptr;
    }
    // The shortest text that reads back as the same number.
    explicit NumberText(double value) { end = std::to_chars(text, text + sizeof text, value).ptr; }
    // With this many decimals; a number too long for that is written in its shortest form.
    NumberText(double value, int decimals);

    std::string_view view() const { return {text, static_cast<std::size_t>(end - text)}; }

private:
    char text[64] = {};
    char* end = text;
};

// Buffered standard output. A reader that goes away (`| head`) is no error: closed() becomes true and
// whatever is written from then on is dropped. Other errors are thrown as Failure.
class OutputBuffer {
public:
    OutputBuffer();

    OutputBuffer& operator<<(std::string_view text);
    OutputBuffer& operator<<(char character);
    OutputBuffer& operator<<(const NumberText& number) { return *this << number.view(); }
    void repeat(char character, std::size_t count);
    void flush();

    bool closed() const { return readerGone; }

private:
    std::string pending;
    bool readerGone = false;
};

}  // namespace kova_tool
