#pragma once

#include "analysis-writer/little_endian.h"

namespace analysis_writer {

// Four planes of N bytes each, the plane of the least significant bytes first.
void appendShuffled(std::span<const std::uint32_t> words, Bytes& out);
Bytes shuffled(std::span<const std::uint32_t> words);

}  // namespace analysis_writer
