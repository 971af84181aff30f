#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <utility>
#include <vector>

#include "logging/logger.h"

namespace lumo::io::kova {

// Header of a frame whose scans are compressed one by one: where each scan's bytes lie. Holds the header of
// one frame, recognised by its position in the file, or none.
class KvdFrameHeader {
public:
    // Reads the header at the stream's position, to which the caller has seeked. Raises
    // CorruptFrameDataError; a header whose reading failed does not count as loaded.
    void initFromStream(std::int64_t frameId, std::int64_t position, std::istream& stream);

    // The header of a frame without data: no scans, nothing is read.
    void initEmpty(std::int64_t frameId, std::int64_t position);

    bool isLoadedFrom(std::int64_t position) const { return blockPosition == position; }

    // Absolute position and length in bytes of a scan's compressed data, as the offsets state them: a length
    // wraps around when they descend. Raises std::invalid_argument "Scan number out of range.".
    std::pair<std::uint64_t, std::uint32_t> getScanStartOffset(std::uint32_t scan) const;

    std::uint32_t numberOfScans() const;

private:
    logging::Logger logger = logging::Logger::getLogger("lumo.io.kova.KvdReader.KvdFrameHeader");
    std::int64_t frameId = -1;
    std::optional<std::int64_t> blockPosition;
    std::uint32_t firstWord = 0;
    std::vector<std::uint32_t> scanOffsets;  // one more than scans, or empty
};

}  // namespace lumo::io::kova
