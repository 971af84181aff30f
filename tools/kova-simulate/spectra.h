#pragma once

#include <cstdint>

#include "analysis-writer/frame.h"

namespace simulator {

// A frame without its mobility axis: the profile summed over all scans, and its local maxima as lines with
// their widths at half height, in samples.
analysis_writer::Spectrum spectrumOf(const analysis_writer::Frame& frame, std::uint32_t samples);

}  // namespace simulator
