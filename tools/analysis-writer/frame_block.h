#pragma once

#include "analysis-writer/block.h"
#include "analysis-writer/frame.h"
#include "analysis-writer/zstd_frame.h"

namespace analysis_writer {

// Frame-wise compressed storage (compression type 2). Every step is a function of its own, so that a test can
// replace or damage any of them and put the remaining ones after it.

// The scan table: the table's own length, then the sizes in words of all scans but the last.
std::vector<std::uint32_t> scanTable(const Frame& frame);

// Index deltas and intensities alternate; the first delta is counted from index -1. Deltas wrap, so
// descending indices can be written too.
std::vector<std::uint32_t> pairWords(const Scan& scan);

// Scan table and peak data of a whole frame.
std::vector<std::uint32_t> frameWords(const Frame& frame);

struct FrameBlockOptions {
    int zstdLevel = 1;
    ContentSize contentSize = ContentSize::recorded;
    BlockOverrides overrides = {};
};

// Block around any words: shuffled, compressed, with header. `scanCount` becomes the second header entry.
Bytes wordsBlock(std::span<const std::uint32_t> words, std::uint32_t scanCount,
                 const FrameBlockOptions& options = {});

// A frame without scans becomes a bare header.
Bytes frameBlock(const Frame& frame, const FrameBlockOptions& options = {});

// A bare header that claims `scanCount` scans, all of them empty.
Bytes emptyFrameBlock(std::uint32_t scanCount);

// Encodes frame after frame without allocating in steady state.
class FrameBlockEncoder {
public:
    explicit FrameBlockEncoder(int zstdLevel = 1) : compressor(zstdLevel) {}

    // The bytes stay valid until the next call.
    ByteView encode(const Frame& frame);

private:
    ZstdCompressor compressor;
    std::vector<std::uint32_t> words;
    Bytes planes;
    Bytes block;
};

}  // namespace analysis_writer
