#include "kova-data-reader/blob/lzf.h"

#include <cerrno>

#include <liblzf/lzf.h>

#include "diag/throwable.h"

// The library that does the work is strict about the stream and the room, but tells failures by errno and
// sizes by `unsigned`; this turns both into exceptions and std::size_t.
namespace lumo::io::kova::uimf {

std::size_t decompressLzf(const std::byte* input, std::size_t inputLength, std::byte* output,
                          std::size_t outputCapacity) {
    constexpr std::size_t kLengthEnd = 0xFFFFFFFF;
    if (inputLength == 0) {
        LUMO_THROW(std::invalid_argument("Must provide non-empty input stream."));
    }
    if (output == nullptr || outputCapacity == 0) {
        return 0;
    }
    if (inputLength >= kLengthEnd || outputCapacity >= kLengthEnd) {
        LUMO_THROW(std::invalid_argument("Input or output length exceeds maximum value of unsigned."));
    }
    errno = 0;
    const unsigned produced = lzf_decompress(input, static_cast<unsigned>(inputLength), output,
                                             static_cast<unsigned>(outputCapacity));
    if (produced == 0 && errno == EINVAL) {
        LUMO_THROW(InvalidInputStream("Invalid input stream"));
    }
    return produced;
}

}  // namespace lumo::io::kova::uimf

LUMO_THROWABLE(lumo::io::kova::uimf::InvalidInputStream);
