#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <span>
#include <utility>

#include "kova-data-reader/blob/byte_buffer.h"
#include "kova-data-reader/blob/kvd_frame_header.h"
#include "kova-data-reader/blob/limits.h"

namespace lumo::io::kova {

// The compressed bytes of one contiguous range of scans of one frame, for frames whose scans are compressed
// one by one. A request outside of the cached range replaces it. Pointers are valid until the next fill. Used
// by one thread.
class KvdReaderCache {
public:
    bool contains(std::int64_t blockPosition, std::uint32_t scan) const;

    // Compressed bytes of a scan of the frame whose header is loaded, which the cached range must hold if there
    // are any. Nothing when the offsets of the frame contradict that range. kLzfReadAhead bytes after them can
    // be read too.
    std::optional<std::span<const std::byte>> find(std::uint32_t scan) const;

    // Compressed bytes of a scan of the frame whose header is loaded; (null, 0) for an empty scan. Any other
    // scan must be in the cached range. Raises CorruptScanDataError when the offsets of the frame contradict
    // that range.
    std::pair<const std::byte*, std::uint32_t> get(std::int64_t frameId, std::uint32_t scan) const;

    // Make the scans [begin, end), or one scan, the cached ones with one seek and one read. They differ in
    // size limit and error texts. A failure leaves nothing cached.
    void fillRange(std::istream& stream, std::int64_t frameId, std::int64_t blockPosition,
                   std::uint32_t begin, std::uint32_t end);
    void fillScan(std::istream& stream, std::int64_t frameId, std::int64_t blockPosition, std::uint32_t scan);

    // Reads the frame header unless it is already the loaded one.
    void ensureFrameHeaderLoaded(std::istream& stream, std::int64_t frameId, std::int64_t blockPosition);

    // Of the frame whose header is loaded.
    std::uint32_t numberOfScans() const { return frameHeader.numberOfScans(); }

private:
    struct FillRules;

    void fill(const FillRules& rules, std::istream& stream, std::int64_t blockPosition, std::uint32_t begin,
              std::uint32_t end);

    ByteBuffer buffer{limits::kCompressedBufferSizeBytes};
    std::int64_t cachedBlockPosition = 0;
    std::uint32_t scanBegin = 0;
    std::uint32_t scanEnd = 0;  // equal to scanBegin: nothing cached
    std::uint64_t rangeStart = 0;
    KvdFrameHeader frameHeader;
};

}  // namespace lumo::io::kova
