#pragma once

#include "analysis-writer/block.h"
#include "analysis-writer/frame.h"
#include "analysis-writer/zstd_frame.h"

namespace analysis_writer {

// Spectra without mobility (compression type 3): a line part and a profile part, each one zstd frame or
// absent.

// Positions, intensities and, when asked for, widths, each array as it is.
Bytes linePart(const SpectrumLines& lines, bool withWidths);

// The block of two parts that are already compressed. The line part's size is the second header entry.
Bytes spectrumBlock(ByteView compressedLines, ByteView compressedProfile,
                    const BlockOverrides& overrides = {});

struct SpectrumParts {
    bool lines = true;
    bool widths = true;
    bool profile = true;
};

// Parts that are switched off, or empty, take no bytes.
Bytes spectrumBlock(const Spectrum& spectrum, const SpectrumParts& parts = {}, int zstdLevel = 1);

}  // namespace analysis_writer
