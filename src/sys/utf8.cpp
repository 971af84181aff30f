#include "sys/utf8.h"

#include <algorithm>
#include <array>
#include <cstdint>

// A check of UTF-8 as the standard defines it: only the shortest form of each character, no surrogates,
// nothing beyond the last code point.
namespace lumo::sys {

namespace {

// How the first byte of a sequence tells its length: the bits under `mask` equal `pattern`, the others belong
// to the value.
struct LeadByte {
    std::uint8_t mask;
    std::uint8_t pattern;
    std::size_t continuationBytes;
    std::uint32_t smallest;  // anything below is an overlong form
};

constexpr std::array kLeadBytes = {
    LeadByte{0x80, 0x00, 0, 0x0},
    LeadByte{0xE0, 0xC0, 1, 0x80},
    LeadByte{0xF0, 0xE0, 2, 0x800},
    LeadByte{0xF8, 0xF0, 3, 0x10000},
};

const LeadByte* classify(std::uint8_t byte) {
    for (const LeadByte& lead : kLeadBytes) {
        if ((byte & lead.mask) == lead.pattern) {
            return &lead;
        }
    }
    return nullptr;
}

// Surrogates are halves of UTF-16 and have no encoding of their own.
bool isScalarValue(std::uint32_t value) { return value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF); }

}  // namespace

std::size_t findInvalidUtf8(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const auto first = static_cast<std::uint8_t>(text[i]);
        const LeadByte* const lead = classify(first);
        if (lead == nullptr) {
            return i;
        }
        std::uint32_t value = first & static_cast<std::uint8_t>(~lead->mask);
        for (std::size_t k = 1; k <= lead->continuationBytes; ++k) {
            if (i + k >= text.size()) {
                return text.size();
            }
            const auto next = static_cast<std::uint8_t>(text[i + k]);
            if ((next & 0xC0) != 0x80) {
                return i + k;
            }
            value = (value << 6) | (next & 0x3FU);
        }
        if (value < lead->smallest || !isScalarValue(value)) {
            return i;
        }
        i += lead->continuationBytes + 1;
    }
    return std::string_view::npos;
}

std::string repairedUtf8(std::string text) {
    std::string repaired;
    std::string_view rest = text;
    for (std::size_t bad = findInvalidUtf8(rest); bad != std::string_view::npos;
         bad = findInvalidUtf8(rest)) {
        // A sequence that is cut off begins before the byte at which that shows.
        std::size_t begin = bad;
        while (begin > 0 && (static_cast<std::uint8_t>(rest[begin - 1]) & 0xC0) == 0x80) {
            --begin;
        }
        begin -= begin > 0 ? 1 : 0;
        if (findInvalidUtf8(rest.substr(begin, bad - begin)) == std::string_view::npos) {
            begin = bad;
        }
        repaired.append(rest.substr(0, begin)).append("\xEF\xBF\xBD");
        rest.remove_prefix(std::max(bad, begin + 1));
    }
    if (repaired.empty()) {
        return text;
    }
    return repaired.append(rest);
}

}  // namespace lumo::sys
