#include "kova-data-reader/blob/zstd_decompression.h"

#include <new>
#include <string>

#include <zstd.h>

#include "diag/errors.h"
#include "diag/throw.h"
#include "kova-data-reader/blob/byte_buffer.h"
#include "kova-data-reader/blob/limits.h"
#include "kova-data-reader/blob/stream_reading.h"
#include "sys/work_counters.h"

// Blocks compressed with zstd. The size that a block claims for its content is held against a limit, and
// against what this form of compression can reach from that many bytes, before memory is taken for it: a few
// bytes cannot claim gigabytes. The decompression context is made when the first block comes and kept, since
// making one costs more than decompressing a small frame.
namespace lumo::io::kova::binary {

namespace {

[[noreturn]] void raiseDecompressionError(std::int64_t frameId, const std::string& reason) {
    LUMO_THROW(CorruptFrameDataError(frameId, "Error decompressing frame data: " + reason));
}

std::size_t checkedContentSize(const ByteBuffer& compressed, std::int64_t frameId) {
    const unsigned long long size = ZSTD_getFrameContentSize(compressed.data(), compressed.size());
    if (ZSTD_isError(size)) {  // includes an unknown size
        raiseDecompressionError(frameId, ZSTD_getErrorName(size));
    }
    if (size > limits::kMaxDecompressedSizeBytes || size / limits::kMaxCompressionRatio > compressed.size()) {
        raiseDecompressionError(frameId, "content size " + std::to_string(size) + " is impossible for " +
                                             std::to_string(compressed.size()) + " compressed bytes");
    }
    return size;
}

}  // namespace

ZSTD_DCtx_s* ZStdDeompressionHandler::context() {
    if (!owned) {
        owned.reset(ZSTD_createDCtx());
        if (!owned) {
            LUMO_THROW(std::bad_alloc());
        }
    }
    return owned.get();
}

void ZStdDeompressionHandler::Release::operator()(ZSTD_DCtx_s* context) const { ZSTD_freeDCtx(context); }

// What was produced counts, not what the block said.
void readAndDecompress(std::uint32_t compressedSize, std::int64_t frameId, std::istream& stream,
                       ZStdDeompressionHandler& handler, ByteBuffer& compressed, ByteBuffer& decompressed) {
    if (!readInto(stream, compressed, compressedSize)) {
        LUMO_THROW(CorruptFrameDataError(frameId, "Error reading frame data."));
    }
    decompressed.resize(checkedContentSize(compressed, frameId));
    const sys::WorkStopwatch stopwatch(&sys::WorkCounters::decompression);
    stopwatch.add(&sys::WorkCounters::blocksDecompressed, 1);
    const std::size_t produced = ZSTD_decompressDCtx(
        handler.context(), decompressed.data(), decompressed.size(), compressed.data(), compressed.size());
    if (ZSTD_isError(produced)) {
        raiseDecompressionError(frameId, ZSTD_getErrorName(produced));
    }
    decompressed.resize(produced);
}

}  // namespace lumo::io::kova::binary
