#include "kova-data-reader/blob/lzf_decoder.h"

#include <array>
#include <cstdint>
#include <cstring>

#include "diag/assert.h"

// An LZF stream is a sequence of tokens: up to 32 literal bytes after a byte that counts them, or two to three
// bytes that name a match, a piece of what was produced. Scans have three bytes per token, and whether the
// next one is a literal or a match is as good as random, so a decoder that branches on it does little but
// recover from wrong guesses. Here a table and arithmetic choose source, length and step of a token, and 16
// bytes are copied whatever the length: the next token overwrites what is too much. What one token's address
// waits for is then the token before, and two streams in turn fill that time.
//
// What must stay true while a stream has bytes left: its output has room for four bytes for each of them and
// one copy more. No ordinary token produces more, so that the loop need not look at the room. Long tokens, a
// match that overlaps itself and the first token are left to the plain form, which checks everything.
namespace lumo::io::kova::uimf {

namespace {

constexpr std::size_t kCopy = 16;
constexpr std::uint32_t kFirstMatch = 32;  // first bytes below are of literals
constexpr std::uint32_t kFirstLongMatch = 7 * 32;
constexpr std::uint16_t kOffsetBits = 0x1FFF;

static_assert(kCopy <= kLzfReadAhead && lzfRoom(0) >= kCopy);

// What the first byte of a token says. Offsets are distances less one; those of literals are 0.
struct alignas(8) Token {
    std::uint16_t offsetBits = 0;
    std::uint16_t leastOffset = 0;  // a match that begins later overlaps itself; more than any: not ordinary
    std::uint16_t length = 0;
};

constexpr Token tokenThatBeginsWith(std::uint32_t byte) {
    constexpr std::uint16_t kNever = kOffsetBits + 1;
    const bool isMatch = byte >= kFirstMatch;
    const auto length = static_cast<std::uint16_t>(isMatch ? byte / 32 + 2 : byte + 1);
    const bool isLong = isMatch ? byte >= kFirstLongMatch : length > kCopy;
    const auto least = static_cast<std::uint16_t>(isMatch ? length - 1 : 0);
    Token token;
    token.offsetBits = isMatch ? kOffsetBits : 0;
    token.leastOffset = isLong ? kNever : least;
    token.length = length;
    return token;
}

constexpr std::array<Token, 256> kTokens = [] {
    std::array<Token, 256> tokens{};
    for (std::uint32_t i = 0; i < 256; ++i) {
        tokens[i] = tokenThatBeginsWith(i);
    }
    return tokens;
}();

// How far a stream has been decoded.
struct Cursor {
    const std::byte* in = nullptr;
    const std::byte* inEnd = nullptr;
    std::byte* out = nullptr;
    const std::byte* begin = nullptr;  // of the output
    const std::byte* outEnd = nullptr;
    LzfStream* stream = nullptr;

    std::size_t inputLeft() const { return static_cast<std::size_t>(inEnd - in); }
    std::size_t produced() const { return static_cast<std::size_t>(out - begin); }
    std::size_t room() const { return static_cast<std::size_t>(outEnd - out); }
    bool hasRoom() const { return room() >= lzfRoom(inputLeft()); }
    bool isSound() const { return in >= inEnd || hasRoom(); }
};

// The part of a cursor that changes, in registers.
struct Position {
    const std::byte* in;
    std::byte* out;
};

// False when there is no token left, or none that is ordinary.
[[gnu::always_inline]] inline bool decodeOrdinaryToken(Position& at, const std::byte* inEnd,
                                                       const std::byte* begin) {
    if (at.in >= inEnd) [[unlikely]] {
        return false;
    }
    const auto first = std::to_integer<std::uint64_t>(at.in[0]);
    const Token& token = kTokens[first];
    const std::uint64_t offset = (first << 8 | std::to_integer<std::uint64_t>(at.in[1])) & token.offsetBits;
    if (offset < token.leastOffset || offset >= static_cast<std::uint64_t>(at.out - begin)) [[unlikely]] {
        return false;
    }
    // All bits for literals, none for a match. Pointers are chosen as numbers, which no compiler turns into a
    // branch.
    const std::uint64_t ifLiterals = -static_cast<std::uint64_t>(first < kFirstMatch);
    const auto lastProduced = reinterpret_cast<std::uintptr_t>(at.out) - 1;
    const auto literals = reinterpret_cast<std::uintptr_t>(at.in) + 1;
    const std::uintptr_t source = lastProduced + (ifLiterals & (literals - lastProduced)) - offset;
    std::array<std::byte, kCopy> copy{};
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    std::memcpy(copy.data(), reinterpret_cast<const void*>(source), kCopy);
    std::memcpy(at.out, copy.data(), kCopy);
    at.in += 2 + (first & ifLiterals);
    at.out += token.length;
    return true;
}

// Any token, in the plain form. False when it does not end within the input or the output, or would leave too
// little room.
bool decodeAnyToken(Cursor& at) {
    LUMO_ASSERT(at.in < at.inEnd);
    const auto first = std::to_integer<std::uint32_t>(at.in[0]);
    if (first < kFirstMatch) {
        const std::size_t length = first + 1;
        if (at.inputLeft() < 1 + length || at.room() < length) {
            return false;
        }
        std::memcpy(at.out, at.in + 1, length);
        at.in += 1 + length;
        at.out += length;
        return at.hasRoom();
    }
    const std::size_t size = first < kFirstLongMatch ? 2 : 3;
    if (at.inputLeft() < size) {
        return false;
    }
    const std::size_t length = 2 + first / 32 + (size == 3 ? std::to_integer<std::size_t>(at.in[1]) : 0);
    const std::size_t distance =
        1 + ((first << 8 | std::to_integer<std::uint32_t>(at.in[size - 1])) & kOffsetBits);
    if (distance > at.produced() || length > at.room()) {
        return false;
    }
    for (const std::byte* const end = at.out + length; at.out != end; ++at.out) {
        *at.out = *(at.out - distance);
    }
    at.in += size;
    return at.hasRoom();
}

void decodeOrdinaryTokens(Cursor& cursor) {
    LUMO_ASSERT(cursor.isSound());
    Position at{cursor.in, cursor.out};
    while (decodeOrdinaryToken(at, cursor.inEnd, cursor.begin)) {
    }
    cursor.in = at.in;
    cursor.out = at.out;
}

// Returns the one that cannot go on.
Cursor& decodeOrdinaryTokens(Cursor& one, Cursor& other) {
    LUMO_ASSERT(one.isSound() && other.isSound());
    // Copies: the compiler cannot know that no byte of the output is one of theirs.
    const Cursor first = one;
    const Cursor second = other;
    Position atFirst{first.in, first.out};
    Position atSecond{second.in, second.out};
    bool isFirst = true;
    while (true) {
        if (!decodeOrdinaryToken(atFirst, first.inEnd, first.begin)) {
            break;
        }
        if (!decodeOrdinaryToken(atSecond, second.inEnd, second.begin)) {
            isFirst = false;
            break;
        }
    }
    one.in = atFirst.in;
    one.out = atFirst.out;
    other.in = atSecond.in;
    other.out = atSecond.out;
    return isFirst ? one : other;
}

// Hands out streams one after the other.
class Streams {
public:
    explicit Streams(std::span<LzfStream> streams) : left(streams) {}

    // The next one that is worth a try. False when there is none.
    bool begin(Cursor& cursor) {
        while (!left.empty()) {
            LzfStream& stream = left.front();
            left = left.subspan(1);
            stream.produced = 0;
            cursor = {stream.input.data(),  stream.input.data() + stream.input.size(),   stream.output.data(),
                      stream.output.data(), stream.output.data() + stream.output.size(), &stream};
            if (!stream.input.empty() && cursor.hasRoom() && decodeAnyToken(cursor)) {
                return true;
            }
        }
        return false;
    }

    // Goes on after an ordinary token could not be decoded, if need be with the next stream.
    bool goOn(Cursor& cursor) {
        if (cursor.in < cursor.inEnd && decodeAnyToken(cursor)) {
            return true;
        }
        // Beyond the end is a token that was cut.
        if (cursor.in == cursor.inEnd) {
            cursor.stream->produced = cursor.produced();
        }
        return begin(cursor);
    }

private:
    std::span<LzfStream> left;
};

}  // namespace

void decodeLzfStreams(std::span<LzfStream> all) {
    Streams streams(all);
    Cursor one;
    Cursor other;
    if (!streams.begin(one)) {
        return;
    }
    if (streams.begin(other)) {
        Cursor* stuck = nullptr;
        do {
            stuck = &decodeOrdinaryTokens(one, other);
        } while (streams.goOn(*stuck));
        if (stuck == &one) {
            one = other;
        }
    }
    do {
        decodeOrdinaryTokens(one);
    } while (streams.goOn(one));
}

}  // namespace lumo::io::kova::uimf
