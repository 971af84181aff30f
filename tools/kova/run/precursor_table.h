#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kova/run/frame_table.h"

namespace kova_tool {

// What the metadata say about one precursor and the MS1 frame it was selected in. Only the id is always
// there.
struct PrecursorRow {
    std::int64_t id = 0;
    std::optional<std::int64_t> parent;
    std::optional<double> mz;
    std::optional<std::int64_t> charge;
    std::optional<double> intensity;
    std::optional<double> time;  // of the frame
    std::optional<double> oneOverK0;
    std::optional<std::string> polarity;  // of the frame
};

// All precursors in ascending order of id; none without table "Precursors".
std::vector<PrecursorRow> readPrecursors(const Run& run, const std::vector<FrameRow>& frames);

}  // namespace kova_tool
