// Paths of any bytes, and the last-error text in buffers of any size.
#include <bit>
#include <cstring>
#include <stdexcept>
#include <string>

#include "common/byte_source.h"
#include "common/require.h"
#include "kovadata/interface_family.h"
#include "kovadata/kova.h"
#include "kovadata/last_error.h"
#include "sys/utf8.h"

namespace {

// Decodes by the bits of the first byte and holds the number against what so many bytes are for; 0 when it is none.
std::size_t sequenceLength(const std::string& text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const auto ones = static_cast<std::size_t>(std::countl_one(byte(0)));
    const std::size_t length = ones == 0 ? 1 : ones;
    if (ones == 1 || ones > 4 || length > text.size()) {
        return 0;
    }
    std::uint32_t code = byte(0) & (0x7FU >> ones);
    for (std::size_t i = 1; i < length; ++i) {
        if (byte(i) >> 6 != 2) {
            return 0;
        }
        code = code << 6 | (byte(i) & 0x3FU);
    }
    constexpr std::uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    return code >= kLeast[length] && code <= 0x10FFFF && code >> 11 != 0x1B ? length : 0;
}

void checkUtf8(const std::string& text) {
    std::size_t valid = 0;
    for (std::size_t length = 1; valid < text.size(); valid += length) {
        length = sequenceLength(text.substr(valid, 4));
        if (length == 0) {
            break;
        }
    }
    const std::size_t found = lumo::sys::findInvalidUtf8(text);
    fuzz::require(valid == text.size() ? found == std::string::npos : found >= valid && found <= valid + 3,
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
        fuzz::require(buffer.find_first_not_of('?', copied + 1) == std::string::npos, "nothing after it");
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
