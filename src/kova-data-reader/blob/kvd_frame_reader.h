#pragma once

#include <array>
#include <cstdint>
#include <istream>
#include <optional>
#include <span>
#include <vector>

#include "kova-data-reader/blob/byte_buffer.h"
#include "kova-data-reader/blob/limits.h"
#include "kova-data-reader/blob/zstd_decompression.h"

namespace lumo::io::kova {

// Holds one decompressed frame at a time, for frames that are compressed as a whole: byte-shuffled words and
// the word range of each scan. Which frame is loaded is known by its position in the file. References are
// valid until the next fill. Used by one thread.
class KvdFrameReader {
public:
    // Makes the frame at `position` the loaded one; nothing is read when it already is. A negative position
    // is a frame without scans. Raises CorruptFrameDataError, and holds no frame then.
    void fill(std::istream& stream, std::int64_t frameId, std::int64_t position);

    // The number of scans of the frame at `position`, from its header alone unless it is the loaded one,
    // which stays. The header serves for filling, if that is what comes next.
    std::uint32_t readNumberOfScans(std::istream& stream, std::int64_t frameId, std::int64_t position);

    // Word range [start, end) of a scan in the returned byte-shuffled buffer; empty for every scan of a frame
    // without peaks. Raises std::invalid_argument "Scan number [n] out of range." and, when the scan's bounds
    // contradict the frame's size, CorruptScanDataError.
    const ByteBuffer& get(std::uint32_t scan, std::uint32_t& start, std::uint32_t& end) const {
        if (scan >= scans) {
            raiseOutOfRange(scan);
        }
        start = end = 0;
        if (!starts.empty()) {
            const std::uint32_t first = starts[scan];
            const std::uint32_t last = starts[scan + 1];
            if (last < first || last > starts.back()) {
                raiseOutsideFrame(scan);
            }
            start = first;
            end = last;
        }
        return decompressed;
    }

    // The whole byte-shuffled frame, and the first word of each scan with one more entry after the last.
    // Scans lie inside the frame only where get() says so.
    const ByteBuffer& shuffledWords() const { return decompressed; }
    std::span<const std::uint32_t> scanStarts() const { return starts; }

    std::uint32_t numberOfScans() const { return scans; }

    // True when no scan of the frame holds peaks because the frame was stored without any.
    bool isWithoutPeaks() const { return starts.empty(); }

private:
    struct SeenHeader {
        std::int64_t position;
        std::array<std::uint32_t, 2> words;
    };

    std::array<std::uint32_t, 2> takeHeader(std::istream& stream, std::int64_t position);
    void readBlock(std::istream& stream, std::int64_t position);
    void buildScanStarts();
    [[noreturn]] void raiseOutOfRange(std::uint32_t scan) const;
    [[noreturn]] void raiseOutsideFrame(std::uint32_t scan) const;

    ByteBuffer compressed{limits::kCompressedBufferSizeBytes};
    ByteBuffer decompressed{limits::kDecompressedFrameBufferSizeBytes};
    std::vector<std::uint32_t> starts;  // one more than scans, or empty
    std::optional<std::int64_t> loadedPosition;
    std::optional<SeenHeader> seenHeader;
    std::int64_t frameId = -1;
    std::uint32_t scans = 0;
    binary::ZStdDeompressionHandler handler;
};

}  // namespace lumo::io::kova
