#pragma once

#include <cstddef>
#include <cstdint>

// Everything that a blob file may claim is held against one of these before it sizes a buffer or moves a
// pointer. They are part of what users see: files beyond them fail, each with a text of its own.
namespace lumo::io::kova::limits {

inline constexpr std::uint32_t kMaxBlockSizeBytes = 0x40000000;
inline constexpr std::uint32_t kMaxScanRangeSizeBytes = 0x40000000;
inline constexpr std::uint32_t kMaxScanSizeBytes = 0x10000;
inline constexpr std::uint32_t kMaxScansPerFrame = 0x20000;
inline constexpr std::uint64_t kMaxDecompressedSizeBytes = std::uint64_t{1} << 32;
inline constexpr std::size_t kMaxDecompressedScanSizeBytes = 0x400000;
inline constexpr std::uint64_t kMaxResultValues = 0x3FFFFFFF;

// A zstd block of 4 bytes (3 of header, 1 that is repeated) can stand for 128 KiB; nothing compresses better.
// A claim beyond this ratio is a lie, whatever the bytes are.
inline constexpr std::uint64_t kMaxCompressionRatio = (128 * 1024) / 4;

// Sizes that the readers' buffers start with; they grow when a block needs more. Pages that no block touches
// cost nothing.
inline constexpr std::size_t kCompressedBufferSizeBytes = 10'000'000;
inline constexpr std::size_t kDecompressedFrameBufferSizeBytes = 20'000'000;
inline constexpr std::size_t kDecompressedSpectrumBufferSizeBytes = 2'000'000;

}  // namespace lumo::io::kova::limits
