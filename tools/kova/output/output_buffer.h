#pragma once

#include <unistd.h>

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
        writeShortest(value);
    }
    // The shortest text that reads back as the same number.
    template <std::floating_point Real>
    explicit NumberText(Real value) {
        writeShortest(value);
    }
    // With this many decimals; a number too long for that is written in its shortest form.
    NumberText(double value, int decimals);
    // The shortest text that reads back as the same number and has no exponent, for readers that know none. A
    // number too long for that still has one.
    static NumberText withoutExponent(double value);

    std::string_view view() const { return {text, length}; }

private:
    template <class Number>
    void writeShortest(Number value) {
        length = static_cast<std::size_t>(std::to_chars(text, text + sizeof text, value).ptr - text);
    }

    char text[64] = {};
    std::size_t length = 0;
};

// Buffered output to a file descriptor, which stays open. A reader that goes away (`| head`) is no error:
// closed() becomes true and whatever is written from then on is dropped. Other errors are thrown as Failure,
// and Ctrl-C as Interrupted.
class OutputBuffer {
public:
    explicit OutputBuffer(int fileDescriptor = STDOUT_FILENO);

    OutputBuffer& operator<<(std::string_view text);
    OutputBuffer& operator<<(char character);
    OutputBuffer& operator<<(const NumberText& number) { return *this << number.view(); }
    void repeat(char character, std::size_t count);
    void flush();

    bool closed() const { return readerGone; }
    // Characters that a line has room for; without bound where the output is no terminal.
    std::size_t width() const { return lineWidth; }

private:
    int descriptor;
    std::size_t lineWidth;
    std::string pending;
    bool readerGone = false;
};

}  // namespace kova_tool
