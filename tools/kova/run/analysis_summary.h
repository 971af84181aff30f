#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kova/run/frame_table.h"

namespace kova_tool {

struct FileSize {
    std::string name;
    std::uint64_t bytes;
};

struct FrameCounts {
    std::uint64_t all = 0;
    // Absent when the metadata do not tell survey frames and frames with fragment spectra apart.
    std::optional<std::uint64_t> ms1;
    std::optional<std::uint64_t> msms;
};

// The whole analysis, or only the first frame where the metadata do not state the numbers.
struct ScanCounts {
    std::uint32_t fewest = 0;
    std::uint32_t most = 0;
    std::uint64_t total = 0;
    bool firstFrameOnly = false;
};

// What one state of "calibration.sqlite" holds. Texts are empty where the table has none.
struct RecalibratedState {
    std::string key;
    std::string source;
    std::optional<bool> massPerFrame;  // else one mass calibration for each polarity
    std::int64_t massFrames = 0;       // mapped to a mass calibration of their own
    std::int64_t mobilityFrames = 0;   // mapped to a mobility calibration
};

// What an analysis holds, without reading its frames.
struct AnalysisSummary {
    std::string directory;
    RunKind kind = RunKind::Mobility;
    kvr_info facts = {};
    FrameCounts frames;
    std::optional<double> firstTime;
    std::optional<double> lastTime;
    std::vector<std::string> polarities;
    std::optional<ScanCounts> scans;  // with mobility, if it can be found out
    std::uint32_t indexBins = 0;
    std::size_t massCalibrations = 0;  // that frames use
    std::size_t mobilityCalibrations = 0;
    bool hasRecalibrationFile = false;
    std::optional<std::vector<RecalibratedState>> recalibratedStates;  // absent if there are none to read
    std::optional<std::string> stateInUse;                             // its key
    std::vector<FileSize> files;
};

AnalysisSummary summarise(const std::string& directory, const CalibrationChoice& calibration);

}  // namespace kova_tool
