#include "kova-data-reader/blob/block_header.h"

#include "diag/errors.h"
#include "diag/throw.h"
#include "kova-data-reader/blob/stream_reading.h"
#include "sys/little_endian.h"

// Blocks of types 2 and 3 begin with eight bytes, two little-endian words: the size of the block, header
// included, and a number whose meaning depends on the type (scans of a frame, or bytes of the line part).
// Neither is checked here.
namespace lumo::io::kova::binary {

std::array<std::uint32_t, 2> readBlockHeader(std::istream& stream, std::int64_t position,
                                             std::int64_t frameId) {
    if (!seekTo(stream, position)) {
        LUMO_THROW(CorruptFrameDataError(frameId, seekFailureText("Can't seek to binary header.", stream)));
    }
    std::array<std::byte, kBlockHeaderSizeBytes> bytes{};
    if (!readExactly(stream, bytes.data(), bytes.size())) {
        LUMO_THROW(CorruptFrameDataError(frameId, "Error reading binary header."));
    }
    if (!seekTo(stream, position + kBlockHeaderSizeBytes)) {
        LUMO_THROW(CorruptFrameDataError(frameId, "Error seeking to frame data."));
    }
    return {sys::loadU32(bytes.data()), sys::loadU32(bytes.data() + 4)};
}

}  // namespace lumo::io::kova::binary
