#include "kova-data-reader/blob/byte_shuffling.h"

#include <cstring>

// Putting words together is a transposition of four rows of bytes. Sixteen words at a time it takes two
// rounds of interleaving: bytes of planes 0 and 1, and of 2 and 3, give halves of words; those by pairs give
// words. The plain form does the rest of an array, and all of it where vectors are not allowed.
namespace lumo::io::kova::decoding {

namespace {

constexpr std::size_t kWords = 16;  // of a block

using Bytes __attribute__((vector_size(kWords))) = std::uint8_t;

Bytes load(const std::byte* address) {
    Bytes bytes;
    std::memcpy(&bytes, address, sizeof bytes);
    return bytes;
}

// The first halves of both, byte by byte in turn; then the second halves; then the same by pairs of bytes.
Bytes zipLow(Bytes a, Bytes b) {
    return __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
}
Bytes zipHigh(Bytes a, Bytes b) {
    return __builtin_shufflevector(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
}
Bytes zipPairsLow(Bytes a, Bytes b) {
    return __builtin_shufflevector(a, b, 0, 1, 16, 17, 2, 3, 18, 19, 4, 5, 20, 21, 6, 7, 22, 23);
}
Bytes zipPairsHigh(Bytes a, Bytes b) {
    return __builtin_shufflevector(a, b, 8, 9, 24, 25, 10, 11, 26, 27, 12, 13, 28, 29, 14, 15, 30, 31);
}

// The words are stored lowest byte first, which is their order in memory on every processor that this form is
// used on.
void decodeBlock(const std::byte* first, std::size_t planeSize, std::uint32_t* words) {
    const Bytes p0 = load(first);
    const Bytes p1 = load(first + planeSize);
    const Bytes p2 = load(first + 2 * planeSize);
    const Bytes p3 = load(first + 3 * planeSize);
    const Bytes lowOfFirst = zipLow(p0, p1);
    const Bytes highOfFirst = zipLow(p2, p3);
    const Bytes lowOfSecond = zipHigh(p0, p1);
    const Bytes highOfSecond = zipHigh(p2, p3);
    const Bytes result[] = {zipPairsLow(lowOfFirst, highOfFirst), zipPairsHigh(lowOfFirst, highOfFirst),
                            zipPairsLow(lowOfSecond, highOfSecond), zipPairsHigh(lowOfSecond, highOfSecond)};
    std::memcpy(words, result, sizeof result);
}

}  // namespace

void decodeByteShuffling(std::span<const std::byte> buffer, std::size_t first, std::size_t count,
                         std::uint32_t* words, sys::SimdLevel level) {
    LUMO_ASSERT(first <= buffer.size() / 4 && count <= buffer.size() / 4 - first);
    std::size_t i = 0;
    if (level >= sys::SimdLevel::Vector128) {
        for (; i + kWords <= count; i += kWords) {
            decodeBlock(buffer.data() + first + i, buffer.size() / 4, words + i);
        }
    }
    for (; i < count; ++i) {
        words[i] = decodeByteShuffling(buffer, first + i);
    }
}

}  // namespace lumo::io::kova::decoding
