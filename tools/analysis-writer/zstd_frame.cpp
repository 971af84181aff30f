#include "analysis-writer/zstd_frame.h"

#include <zstd.h>

#include <new>
#include <stdexcept>
#include <string>

// One context for many frames: making one costs more than compressing a small frame.
namespace analysis_writer {

namespace {

std::size_t check(std::size_t result) {
    if (ZSTD_isError(result) != 0) {
        throw std::runtime_error(std::string("zstd compression failed: ") + ZSTD_getErrorName(result));
    }
    return result;
}

}  // namespace

void ZstdCompressor::Free::operator()(ZSTD_CCtx_s* created) const { ZSTD_freeCCtx(created); }

ZstdCompressor::ZstdCompressor(int level, ContentSize contentSize) : context(ZSTD_createCCtx()) {
    if (!context)
        throw std::bad_alloc();
    check(ZSTD_CCtx_setParameter(context.get(), ZSTD_c_compressionLevel, level));
    check(ZSTD_CCtx_setParameter(context.get(), ZSTD_c_contentSizeFlag,
                                 contentSize == ContentSize::recorded ? 1 : 0));
}

std::size_t ZstdCompressor::append(ByteView content, Bytes& out) {
    const std::size_t start = out.size();
    out.resize(start + ZSTD_compressBound(content.size()));
    const std::size_t size = check(ZSTD_compress2(context.get(), out.data() + start, out.size() - start,
                                                  content.data(), content.size()));
    out.resize(start + size);
    return size;
}

Bytes zstdFrame(ByteView content, int level, ContentSize contentSize) {
    Bytes frame;
    ZstdCompressor(level, contentSize).append(content, frame);
    return frame;
}

}  // namespace analysis_writer
