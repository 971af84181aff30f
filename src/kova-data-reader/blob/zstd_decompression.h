#pragma once

#include <cstdint>
#include <istream>
#include <memory>

struct ZSTD_DCtx_s;

namespace lumo::io::kova {

class ByteBuffer;

namespace binary {

// One zstd decompression context, used again for every block. Not shared between readers.
class ZStdDeompressionHandler {
public:
    // Made at its first use: it is large, and many an analysis is opened for its metadata only. Fails with
    // std::bad_alloc.
    ZSTD_DCtx_s* context();

private:
    struct Release {
        void operator()(ZSTD_DCtx_s* context) const;
    };

    std::unique_ptr<ZSTD_DCtx_s, Release> owned;
};

// Reads `compressedSize` bytes at the stream's position and decompresses them; `decompressed` gets exactly
// the content size that the zstd frame records. Raises CorruptFrameDataError; memory is taken only after the
// size of the file and the greatest possible compression ratio have confirmed the sizes claimed.
void readAndDecompress(std::uint32_t compressedSize, std::int64_t frameId, std::istream& stream,
                       ZStdDeompressionHandler& handler, ByteBuffer& compressed, ByteBuffer& decompressed);

}  // namespace binary
}  // namespace lumo::io::kova
