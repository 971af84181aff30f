#pragma once

#include <cstddef>
#include <span>

namespace lumo::io::kova::uimf {

// One stream, where its bytes go, and what became of it.
struct LzfStream {
    std::span<const std::byte> input;
    std::span<std::byte> output;  // may be overwritten as a whole
    std::size_t produced = 0;     // bytes; 0: ask decompressLzf, which knows better
};

// So many bytes after each input are read, whatever they hold.
inline constexpr std::size_t kLzfReadAhead = 16;

// The room that a stream without long matches needs, and all that is tried for less has no chance.
constexpr std::size_t lzfRoom(std::size_t inputLength) { return 4 * inputLength + 16; }

// Decompresses well-formed streams two at a time. What it produces is what decompressLzf produces. It gives up
// on a stream that is corrupt, empty or without the room that its remaining bytes may need, which says nothing
// about the stream.
void decodeLzfStreams(std::span<LzfStream> streams);

}  // namespace lumo::io::kova::uimf
