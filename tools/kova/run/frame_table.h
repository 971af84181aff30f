#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kova/run/run.h"

namespace kova_tool {

// What is known about one frame, from the metadata and by counting. Only the id is always there.
struct FrameRow {
    std::int64_t id = 0;
    std::optional<double> time = {};
    std::optional<std::string> polarity = {};
    std::optional<std::int8_t> msLevel = {};
    std::optional<std::uint32_t> scans = {};
    std::optional<std::uint64_t> peaks = {};
    std::optional<std::uint64_t> intensitySum = {};
    std::optional<std::int64_t> mzCalibration = {};
    std::optional<std::int64_t> mobilityCalibration = {};
    std::optional<std::uint64_t> lines = {};          // counted, without mobility
    std::optional<std::uint64_t> profilePoints = {};  // counted, without mobility
};

// All frames in ascending order of id.
std::vector<FrameRow> readFrameTable(const Run& run);

// The frame of this id, or null.
const FrameRow* findFrame(const std::vector<FrameRow>& frames, std::int64_t id);

}  // namespace kova_tool
