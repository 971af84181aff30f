#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "metadata_database.h"

namespace kova_tool {

// What is known about one frame, from the metadata and by counting. Only the id is always there.
struct FrameRow {
    std::int64_t id = 0;
    std::optional<double> time;
    std::optional<std::string> polarity;
    std::optional<int> msLevel;
    std::optional<std::uint32_t> scans;
    std::optional<std::uint64_t> peaks;
    std::optional<std::uint64_t> intensitySum;
    std::optional<std::uint64_t> lines;          // counted, without mobility
    std::optional<std::uint64_t> profilePoints;  // counted, without mobility
};

// All frames in ascending order of id.
std::vector<FrameRow> readFrameTable(const MetadataDatabase& database);

// The row of one frame. A frame that is not in the table gives a row with nothing but the id: that it is
// missing is for the library to say.
FrameRow readFrameRow(const MetadataDatabase& database, std::int64_t id);

}  // namespace kova_tool
