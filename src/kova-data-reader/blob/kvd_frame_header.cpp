#include "kova-data-reader/blob/kvd_frame_header.h"

#include <array>
#include <span>
#include <stdexcept>

#include "diag/errors.h"
#include "diag/throw.h"
#include "kova-data-reader/blob/limits.h"
#include "kova-data-reader/blob/stream_reading.h"
#include "sys/little_endian.h"

// The table of scan offsets in front of a block of compression type 1: where each scan begins, counted from
// the block, and where the last one ends. The number of scans is held against a limit before the table is
// read. The offsets themselves are checked by whoever follows them, scan by scan, so one bad offset spoils no
// other scan.
namespace lumo::io::kova {

void KvdFrameHeader::initEmpty(std::int64_t newFrameId, std::int64_t position) {
    frameId = newFrameId;
    scanOffsets.clear();
    blockPosition = position;
}

void KvdFrameHeader::initFromStream(std::int64_t newFrameId, std::int64_t position, std::istream& stream) {
    blockPosition.reset();
    frameId = newFrameId;
    std::array<std::byte, 8> head{};
    if (!binary::readExactly(stream, head.data(), head.size())) {
        LUMO_THROW(CorruptFrameDataError(frameId, "Error reading 8-byte binary header."));
    }
    firstWord = sys::loadU32(head.data());
    const std::uint32_t scans = sys::loadU32(head.data() + 4);
    if (scans > limits::kMaxScansPerFrame) {
        LUMO_THROW(CorruptFrameDataError(frameId, "Maximum number of scans exceeded."));
    }
    scanOffsets.resize(std::size_t{scans} + 1);
    auto* const bytes = reinterpret_cast<std::byte*>(scanOffsets.data());
    if (!binary::readExactly(stream, bytes, scanOffsets.size() * sizeof(std::uint32_t))) {
        LUMO_THROW(CorruptFrameDataError(frameId, "Error reading binary scan offsets."));
    }
    sys::reverseBytesOnBigEndian(std::span(scanOffsets));
    blockPosition = position;
    LUMO_LOG(logger, Trace, "Frame " << frameId << ": " << scans << " scans.");
}

std::uint32_t KvdFrameHeader::numberOfScans() const {
    return scanOffsets.empty() ? 0 : static_cast<std::uint32_t>(scanOffsets.size() - 1);
}

// The length wraps around where the offsets descend, and is then larger than any scan may be.
std::pair<std::uint64_t, std::uint32_t> KvdFrameHeader::getScanStartOffset(std::uint32_t scan) const {
    if (scan >= numberOfScans()) {
        LUMO_THROW(std::invalid_argument("Scan number out of range."));
    }
    const std::uint32_t start = scanOffsets[scan];
    return {static_cast<std::uint64_t>(blockPosition.value_or(0)) + start, scanOffsets[scan + 1] - start};
}

}  // namespace lumo::io::kova
