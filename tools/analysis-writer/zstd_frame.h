#pragma once

#include <memory>

#include "analysis-writer/little_endian.h"

struct ZSTD_CCtx_s;

namespace analysis_writer {

enum class ContentSize { recorded, omitted };

// A reusable zstd context. Each call makes one complete zstd frame; omitting the content size gives frames
// whose decompressed size a reader cannot know beforehand.
class ZstdCompressor {
public:
    explicit ZstdCompressor(int level = 1, ContentSize contentSize = ContentSize::recorded);

    // Appends the zstd frame to `out` and returns its size.
    std::size_t append(ByteView content, Bytes& out);

private:
    struct Free {
        void operator()(ZSTD_CCtx_s* context) const;
    };
    std::unique_ptr<ZSTD_CCtx_s, Free> context;
};

Bytes zstdFrame(ByteView content, int level = 1, ContentSize contentSize = ContentSize::recorded);

}  // namespace analysis_writer
