#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>

#include "analysis-writer/analysis_writer.h"

namespace simulator {

// What is simulated. The same options give the same analysis.
struct Options {
    std::filesystem::path out;
    analysis_writer::Format format = analysis_writer::Format::kvd;
    std::uint32_t frames = 100;
    std::uint32_t peaksPerFrame = 100'000;
    std::uint32_t msmsPeaksPerFrame = 0;  // 0: a quarter of peaksPerFrame
    std::uint64_t seed = 1;
    std::uint32_t scans = 900;
    int compression = 2;
    int schemaMajor = 3;
    int schemaMinor = 1;
    std::uint32_t msmsPerMs1 = 8;
    int zstdLevel = 1;
    analysis_writer::SpectrumParts parts = {};  // of spectrum-format analyses
    std::uint32_t recalibratedStates = 0;
    std::uint32_t threads = 0;              // 0: one for each processor
    std::filesystem::path fragmentList;     // empty: none is written
    std::function<void()> onFrame = [] {};  // called after each frame; what it raises ends the simulation
};

inline constexpr std::uint32_t kSamples = 400'000;
inline constexpr double kSecondsPerFrame = 0.11;

}  // namespace simulator
