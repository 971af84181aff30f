#include "analysis-writer/block.h"

#include <limits>

// Sizes in the file have 32 bits. One that does not fit is refused here rather than written wrongly; wrong
// sizes are written on purpose only, by overrides.
namespace analysis_writer {

std::uint32_t fileSize32(std::size_t size) {
    if (size > std::numeric_limits<std::uint32_t>::max()) {
        throw std::length_error("a size in the blob file does not fit 32 bits");
    }
    return static_cast<std::uint32_t>(size);
}

Bytes blockHeader(std::uint32_t blockSize, std::uint32_t secondEntry) {
    Bytes header;
    appendU32(header, blockSize);
    appendU32(header, secondEntry);
    return header;
}

Bytes block(std::uint32_t secondEntry, ByteView payload, const BlockOverrides& overrides) {
    Bytes bytes(kBlockHeaderBytes);
    appendBytes(bytes, payload);
    finishBlock(bytes, secondEntry, overrides);
    return bytes;
}

void finishBlock(Bytes& block, std::uint32_t secondEntry, const BlockOverrides& overrides) {
    patchU32(block, 0, overrides.blockSize ? *overrides.blockSize : fileSize32(block.size()));
    patchU32(block, 4, overrides.secondEntry.value_or(secondEntry));
}

}  // namespace analysis_writer
