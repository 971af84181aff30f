#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "analysis_format.h"
#include "calibration_choice.h"
#include "frame_table.h"
#include "recalibrated_states.h"
#include "spectrum_reader.h"

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

// What an analysis holds, without reading its frames.
struct AnalysisSummary {
    std::string directory;
    AnalysisFormat format = AnalysisFormat::Mobility;
    std::int64_t schemaMajor = 0;
    std::int64_t schemaMinor = 0;
    std::int64_t storageScheme = 0;
    FrameCounts frames;
    std::optional<double> firstTime;
    std::optional<double> lastTime;
    std::vector<std::string> polarities;
    std::optional<ScanCounts> scans;       // with mobility, if it can be found out
    std::optional<SpectrumParts> spectra;  // without mobility
    std::uint32_t indexBins = 0;
    std::int64_t massCalibrations = 0;
    std::int64_t mobilityCalibrations = 0;
    bool hasRecalibrationFile = false;
    std::optional<std::vector<RecalibratedState>> recalibratedStates;  // absent if there are none to read
    std::optional<std::string> stateInUse;                             // its key
    std::vector<FileSize> files;
};

// Opens the analysis with the library, which decides whether it is one, and gathers the rest from the
// metadata.
AnalysisSummary summarise(const std::string& directory, const CalibrationChoice& calibration);

}  // namespace kova_tool
