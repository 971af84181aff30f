#pragma once

#include <cstddef>
#include <cstdint>

#include "analysis-writer/spectrum_block.h"

namespace analysis_writer {

enum class Format { kvd, kvs };

// What an analysis is like apart from its frames. Numbers that no reader supports are allowed: tests write
// analyses that must be refused.
struct AnalysisSettings {
    Format format = Format::kvd;
    int schemaMajor = 3;
    int schemaMinor = 1;
    int compressionType = 2;
    int zstdLevel = 1;
    std::uint32_t digitizerNumSamples = 400000;
    std::int32_t peakListIndexScaleFactor = 1;
    // What the blocks of the spectrum format hold, and what its metadata say.
    SpectrumParts parts = {};
    std::size_t mzCoefficientColumns = 5;
    std::size_t kovaCoefficientColumns = 10;
};

}  // namespace analysis_writer
