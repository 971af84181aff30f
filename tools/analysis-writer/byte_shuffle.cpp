#include "analysis-writer/byte_shuffle.h"

// Written as the format defines it, plane by plane, and sharing no code with the readers: a mistake in one of
// the two shows in the tests.
namespace analysis_writer {

void appendShuffled(std::span<const std::uint32_t> words, Bytes& out) {
    const std::size_t count = words.size();
    const std::size_t start = out.size();
    out.resize(start + 4 * count);
    for (std::size_t plane = 0; plane < 4; ++plane) {
        std::uint8_t* target = out.data() + start + plane * count;
        const unsigned shift = 8 * static_cast<unsigned>(plane);
        for (std::size_t i = 0; i < count; ++i)
            target[i] = static_cast<std::uint8_t>(words[i] >> shift);
    }
}

Bytes shuffled(std::span<const std::uint32_t> words) {
    Bytes bytes;
    appendShuffled(words, bytes);
    return bytes;
}

}  // namespace analysis_writer
