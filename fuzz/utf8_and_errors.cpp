// Paths of any bytes, and the last-error text in buffers of any size.
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>

#include "common/byte_source.h"
#include "common/require.h"
#include "kovadata/interface_family.h"
#include "kovadata/kova.h"
#include "kovadata/last_error.h"
#include "sys/utf8.h"

namespace {

// The length of the well-formed sequence at the start of the text, by the table of well-formed byte
// sequences; 0 when there is none.
std::size_t sequenceLength(const std::string& text) {
    struct Row {
        unsigned firstLow;
        unsigned firstHigh;
        unsigned secondLow;
        unsigned secondHigh;
        std::size_t length;
    };
    constexpr Row kTable[] = {
        {0x00, 0x7F, 0x00, 0x100, 1}, {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
        {0xE1, 0xEC, 0x80, 0xBF, 3},  {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
        {0xF0, 0xF0, 0x90, 0xBF, 4},  {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
    };
    const auto in = [&](std::size_t i, unsigned low, unsigned high) {
        const unsigned byte = i < text.size() ? static_cast<unsigned char>(text[i]) : 0x100U;
        return byte >= low && byte <= high;
    };
    for (const Row& row : kTable) {
        if (in(0, row.firstLow, row.firstHigh) && in(1, row.secondLow, row.secondHigh) &&
            (row.length < 3 || in(2, 0x80, 0xBF)) && (row.length < 4 || in(3, 0x80, 0xBF))) {
            return row.length;
        }
    }
    return 0;
}

std::optional<std::size_t> firstBadSequence(const std::string& text) {
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = sequenceLength(text.substr(i, 4));
        if (length == 0) {
            return i;
        }
        i += length;
    }
    return std::nullopt;
}

void checkUtf8(const std::string& text) {
    const std::size_t found = lumo::sys::findInvalidUtf8(text);
    const std::optional<std::size_t> bad = firstBadSequence(text);
    fuzz::require(bad.has_value() == (found != std::string::npos), "well-formed or not");
    fuzz::require(!bad || (found >= *bad && found <= *bad + 3 && found <= text.size()),
                  "the place where the text stops being well-formed");
}

void checkLastError(const std::string& text, std::uint32_t size) {
    using Slot = lumo::io::LastError<lumo::io::KovaInterface>;
    Slot::set(std::runtime_error(text));
    const std::size_t length = std::strlen(text.c_str());
    std::string buffer(size, '?');
    fuzz::require(Slot::copyTo(buffer.data(), size) == length + 1, "the size of the whole text");
    if (size != 0) {
        const std::size_t copied = std::min<std::size_t>(length, size - 1);
        fuzz::require(buffer.compare(0, copied, text, 0, copied) == 0 && buffer[copied] == '\0',
                      "as much of the text as fits, terminated");
        fuzz::require(buffer.find_first_not_of('?', copied + 1) == std::string::npos, "nothing behind it");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::ByteSource source(data, size);
    const std::uint32_t bufferSize = source.below(80);
    const std::string text = source.takeText(5000);
    checkUtf8(text);
    checkLastError(text, bufferSize);
    fuzz::require(kova_open(("/nowhere/" + text).c_str(), bufferSize % 2) == 0, "there is no such analysis");
    return 0;
}
