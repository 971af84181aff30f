#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "metadata_database.h"

namespace kova_tool {

// What the metadata say about one precursor and the MS1 frame it was selected in. Only the id is always
// there.
struct PrecursorRow {
    std::int64_t id = 0;
    std::optional<std::int64_t> parent;
    std::optional<double> scan;  // centre of its range of scans
    std::optional<double> mz;    // monoisotopic if it is known, otherwise of the largest peak, or the average
    std::optional<std::int64_t> charge;
    std::optional<double> intensity;
    std::optional<double> time;           // of the frame
    std::optional<std::string> polarity;  // of the frame
};

// Which precursors are wanted: these, those of an MS1 frame, or all when neither is given.
struct PrecursorSelection {
    std::vector<std::int64_t> ids;
    std::optional<std::int64_t> frame;
};

// The wanted precursors in ascending order of id. There are none without table "Precursors": that it is
// missing is for the library to say.
std::vector<PrecursorRow> readPrecursors(const MetadataDatabase& database,
                                         const PrecursorSelection& selection);

}  // namespace kova_tool
