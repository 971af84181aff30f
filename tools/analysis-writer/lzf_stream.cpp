#include "analysis-writer/lzf_stream.h"

#include <algorithm>
#include <array>

// LZF by a table of the last position of each three bytes: long enough matches become references, everything
// else literal runs.
namespace analysis_writer {

namespace {

constexpr std::size_t kMaxLiteralRun = 32;
constexpr std::size_t kMinMatch = 3;
constexpr std::size_t kMaxMatch = 264;
constexpr std::size_t kMaxDistance = 8192;
constexpr unsigned kHashBits = 13;

void appendLiterals(ByteView literals, Bytes& out) {
    for (std::size_t i = 0; i < literals.size(); i += kMaxLiteralRun) {
        const ByteView run = literals.subspan(i, std::min(kMaxLiteralRun, literals.size() - i));
        out.push_back(static_cast<std::uint8_t>(run.size() - 1));
        appendBytes(out, run);
    }
}

// Short matches keep their length in the three upper bits of the first byte, long ones in a byte of their
// own.
void appendReference(std::size_t distance, std::size_t length, Bytes& out) {
    const std::size_t offset = distance - 1;
    const std::size_t code = length - 2;
    out.push_back(static_cast<std::uint8_t>((std::min<std::size_t>(code, 7) << 5) | (offset >> 8)));
    if (code >= 7)
        out.push_back(static_cast<std::uint8_t>(code - 7));
    out.push_back(static_cast<std::uint8_t>(offset));
}

std::size_t hashAt(ByteView content, std::size_t position) {
    const std::uint32_t key = content[position] | (std::uint32_t{content[position + 1]} << 8) |
                              (std::uint32_t{content[position + 2]} << 16);
    return (key * 2654435761U) >> (32 - kHashBits);
}

std::size_t matchLength(ByteView content, std::size_t earlier, std::size_t position) {
    const std::size_t limit = std::min(kMaxMatch, content.size() - position);
    std::size_t length = 0;
    while (length < limit && content[earlier + length] == content[position + length])
        ++length;
    return length;
}

// Remembers where each three-byte sequence was seen last.
class MatchFinder {
public:
    explicit MatchFinder(ByteView bytes) : content(bytes) {}

    // Distance and length of a match at `position`; length 0 when there is none.
    std::pair<std::size_t, std::size_t> findAndRemember(std::size_t position) {
        std::uint32_t& slot = positionsPlusOne[hashAt(content, position)];
        const std::size_t earlier = slot;
        slot = static_cast<std::uint32_t>(position + 1);
        if (earlier == 0 || position - (earlier - 1) > kMaxDistance)
            return {0, 0};
        const std::size_t length = matchLength(content, earlier - 1, position);
        if (length < kMinMatch)
            return {0, 0};
        return {position - (earlier - 1), length};
    }

private:
    ByteView content;
    std::array<std::uint32_t, std::size_t{1} << kHashBits> positionsPlusOne{};
};

}  // namespace

Bytes lzfStream(ByteView content) {
    Bytes out;
    MatchFinder finder(content);
    std::size_t literalStart = 0;
    std::size_t position = 0;
    while (position + kMinMatch <= content.size()) {
        const auto [distance, length] = finder.findAndRemember(position);
        if (length == 0) {
            ++position;
            continue;
        }
        appendLiterals(content.subspan(literalStart, position - literalStart), out);
        appendReference(distance, length, out);
        position += length;
        literalStart = position;
    }
    appendLiterals(content.subspan(literalStart), out);
    return out;
}

Bytes lzfLiteralStream(ByteView content) {
    Bytes out;
    appendLiterals(content, out);
    return out;
}

}  // namespace analysis_writer
