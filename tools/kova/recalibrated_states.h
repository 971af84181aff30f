#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kova_tool {

// What one state of "calibration.sqlite" holds. Texts are empty where the table has none.
struct RecalibratedState {
    std::string key;
    std::string source;
    std::optional<bool> massPerFrame;  // else one mass calibration for each polarity
    std::uint64_t massFrames = 0;      // mapped to a mass calibration of their own
    std::uint64_t mobilityFrames = 0;  // mapped to a mobility calibration
};

// All states of an analysis, oldest first. Absent when there is no such file; throws Failure when it cannot be
// read.
std::optional<std::vector<RecalibratedState>> readRecalibratedStates(const std::string& directory);

}  // namespace kova_tool
