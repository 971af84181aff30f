#include "kova-data-reader/blob/kvd_frame_reader.h"

#include <algorithm>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

#include "diag/errors.h"
#include "diag/throw.h"
#include "kova-data-reader/blob/block_header.h"
#include "kova-data-reader/blob/byte_shuffling.h"

// The one decompressed frame of compression type 2, and where its scans begin. The block's words are stored
// byte by byte, all lowest bytes first. Only the table of scans is put together here; peaks are put together
// when they are decoded, in the same pass as the rest of their decoding.
//
// What must stay true: everything from which a scan's position is computed is checked here or in `get`, so
// the kernels need no checks of their own.
namespace lumo::io::kova {

// A block that fails leaves no frame loaded, not even the one before.
void KvdFrameReader::fill(std::istream& stream, std::int64_t newFrameId, std::int64_t position) {
    frameId = newFrameId;
    if (loadedPosition == position) {
        return;
    }
    loadedPosition.reset();
    starts.clear();
    scans = 0;
    if (position >= 0) {
        readBlock(stream, position);
    }
    loadedPosition = position;
}

std::uint32_t KvdFrameReader::readNumberOfScans(std::istream& stream, std::int64_t ofFrame,
                                                std::int64_t position) {
    if (loadedPosition == position) {
        return scans;
    }
    if (position < 0) {
        return 0;
    }
    seenHeader = {position, binary::readBlockHeader(stream, position, ofFrame)};
    return seenHeader->words[1];
}

// The one that was just read, or else from the file. Used once: the file may be written to. The stream is
// left after the header.
std::array<std::uint32_t, 2> KvdFrameReader::takeHeader(std::istream& stream, std::int64_t position) {
    const std::optional<SeenHeader> seen = std::exchange(seenHeader, std::nullopt);
    if (seen && seen->position == position &&
        stream.tellg() == std::istream::pos_type(position + binary::kBlockHeaderSizeBytes)) {
        return seen->words;
    }
    return binary::readBlockHeader(stream, position, frameId);
}

void KvdFrameReader::readBlock(std::istream& stream, std::int64_t position) {
    const auto [blockSize, scanCount] = takeHeader(stream, position);
    if (blockSize > limits::kMaxBlockSizeBytes) {
        LUMO_THROW(CorruptFrameDataError(frameId, "Compressed scan size too large."));
    }
    if (blockSize < binary::kBlockHeaderSizeBytes) {  // what is left of it wraps to 4 GiB, which no block has
        LUMO_THROW(CorruptFrameDataError(frameId, "Error reading frame data."));
    }
    scans = scanCount;
    if (blockSize == binary::kBlockHeaderSizeBytes) {
        decompressed.resize(0);
        return;
    }
    binary::readAndDecompress(blockSize - binary::kBlockHeaderSizeBytes, frameId, stream, handler, compressed,
                              decompressed);
    buildScanStarts();
}

// The first words of a frame state for each scan by how many words it begins after the one before it.
void KvdFrameReader::buildScanStarts() {
    const std::span<const std::byte> buffer(decompressed.data(), decompressed.size());
    const std::size_t words = buffer.size() / 4;
    // The table cannot be completed when the frame has fewer words than scans, whatever the scan count
    // claims.
    const std::size_t entries = std::min<std::size_t>(scans, words);
    if (entries < scans) {
        LUMO_THROW(CorruptFrameDataError(frameId, "Found invalid number of scans for frame, expected [" +
                                                      std::to_string(scans) + "] got [" +
                                                      std::to_string(entries) + "]"));
    }
    starts.resize(entries + 1);
    decoding::decodeByteShuffling(buffer, 0, entries, starts.data());
    std::uint32_t sum = 0;  // wraps like the format's own sums
    for (std::size_t i = 0; i < entries; ++i) {
        sum += starts[i];
        starts[i] = sum;
    }
    starts[entries] = static_cast<std::uint32_t>(words);
}

void KvdFrameReader::raiseOutOfRange(std::uint32_t scan) const {
    LUMO_THROW(std::invalid_argument("Scan number [" + std::to_string(scan) + "] out of range."));
}

void KvdFrameReader::raiseOutsideFrame(std::uint32_t scan) const {
    LUMO_THROW(CorruptScanDataError(frameId, scan, "Scan data lie outside the data of the frame."));
}

}  // namespace lumo::io::kova
