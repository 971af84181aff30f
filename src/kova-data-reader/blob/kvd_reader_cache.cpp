#include "kova-data-reader/blob/kvd_reader_cache.h"

#include <optional>
#include <stdexcept>

#include "diag/errors.h"
#include "diag/throw.h"
#include "kova-data-reader/blob/lzf_decoder.h"
#include "kova-data-reader/blob/stream_reading.h"

// Compressed scans of one frame, for compression type 1. Scans of a frame are mostly read one after the
// other, so a range is fetched with one read, from the first byte of its first scan to the last byte of its
// last. The offsets come from the file: where they do not ascend, the difference wraps around to a size that
// no limit allows; where a scan lies outside of what was fetched, asking for that scan fails and no other.
//
// What must stay true: until everything has been read the cache says that it holds nothing, so that a failed
// read is not taken for its result later.
namespace lumo::io::kova {

// What differs between filling for a range of scans and for a single scan.
struct KvdReaderCache::FillRules {
    std::int64_t frameId = 0;
    std::optional<std::uint32_t> scan;
    std::uint64_t maxSize = 0;
    const char* tooLarge = nullptr;
    const char* seekFailed = nullptr;
    const char* readFailed = nullptr;

    [[noreturn]] void raise(const char* text) const {
        if (scan) {
            LUMO_THROW(CorruptScanDataError(frameId, *scan, text));
        }
        LUMO_THROW(CorruptFrameDataError(frameId, text));
    }
};

bool KvdReaderCache::contains(std::int64_t blockPosition, std::uint32_t scan) const {
    return blockPosition == cachedBlockPosition && scanBegin <= scan && scan < scanEnd;
}

std::optional<std::span<const std::byte>> KvdReaderCache::find(std::uint32_t scan) const {
    const auto [position, length] = frameHeader.getScanStartOffset(scan);
    if (length == 0) {
        return std::span<const std::byte>();
    }
    const std::uint64_t cached = scanBegin < scanEnd ? buffer.size() - uimf::kLzfReadAhead : 0;
    if (position < rangeStart || position - rangeStart > cached ||
        length > cached - (position - rangeStart)) {
        return std::nullopt;
    }
    return std::span(buffer.data() + (position - rangeStart), length);
}

std::pair<const std::byte*, std::uint32_t> KvdReaderCache::get(std::int64_t frameId,
                                                               std::uint32_t scan) const {
    const auto found = find(scan);
    if (!found) {
        LUMO_THROW(CorruptScanDataError(frameId, scan, "Scan data lie outside the data of the scan range."));
    }
    return {found->data(), static_cast<std::uint32_t>(found->size())};
}

void KvdReaderCache::fillRange(std::istream& stream, std::int64_t frameId, std::int64_t blockPosition,
                               std::uint32_t begin, std::uint32_t end) {
    const FillRules rules{frameId,
                          std::nullopt,
                          limits::kMaxScanRangeSizeBytes,
                          "Compressed scan-range size too large.",
                          "Error seeking to scan-range data.",
                          "Error reading scan-range data."};
    fill(rules, stream, blockPosition, begin, end);
}

void KvdReaderCache::fillScan(std::istream& stream, std::int64_t frameId, std::int64_t blockPosition,
                              std::uint32_t scan) {
    const FillRules rules{frameId,
                          scan,
                          limits::kMaxScanSizeBytes,
                          "Compressed scan size too large.",
                          "Error seeking to scan data.",
                          "Error reading scan data."};
    fill(rules, stream, blockPosition, scan, scan + 1);
}

// A frame without data has a header too, of no scans, so that nobody needs to tell the two cases apart.
void KvdReaderCache::ensureFrameHeaderLoaded(std::istream& stream, std::int64_t frameId,
                                             std::int64_t blockPosition) {
    constexpr std::int64_t kNoData = -1;
    if (frameHeader.isLoadedFrom(blockPosition)) {
        return;
    }
    if (blockPosition == kNoData) {
        frameHeader.initEmpty(frameId, blockPosition);
        return;
    }
    if (!binary::seekTo(stream, blockPosition)) {
        LUMO_THROW(
            CorruptFrameDataError(frameId, binary::seekFailureText("Can't seek to binary header.", stream)));
    }
    frameHeader.initFromStream(frameId, blockPosition, stream);
}

// Memory for a range is taken only after the file was asked whether it is that long.
void KvdReaderCache::fill(const FillRules& rules, std::istream& stream, std::int64_t blockPosition,
                          std::uint32_t begin, std::uint32_t end) {
    if (end < begin) {
        LUMO_THROW(std::invalid_argument("scan_end must be >= scan_begin."));
    }
    scanEnd = scanBegin;
    ensureFrameHeaderLoaded(stream, rules.frameId, blockPosition);
    rangeStart = frameHeader.getScanStartOffset(begin).first;
    if (begin == end) {
        return;
    }
    const auto [lastPosition, lastLength] = frameHeader.getScanStartOffset(end - 1);
    // Wraps to a size far beyond the limit when the last scan lies before the first, whatever lies between
    // them.
    const std::uint64_t size = lastPosition + lastLength - rangeStart;
    if (size == 0) {
        return;
    }
    if (size > rules.maxSize) {
        rules.raise(rules.tooLarge);
    }
    if (!binary::seekTo(stream, static_cast<std::int64_t>(rangeStart))) {
        rules.raise(rules.seekFailed);
    }
    if (!binary::readInto(stream, buffer, size, uimf::kLzfReadAhead)) {
        rules.raise(rules.readFailed);
    }
    cachedBlockPosition = blockPosition;
    scanBegin = begin;
    scanEnd = end;
}

}  // namespace lumo::io::kova
