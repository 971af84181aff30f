#pragma once

#include <cstddef>
#include <string>

#include <kovadata/kovadata.hpp>

// Number of peaks of the first scans of frame 1.
std::size_t peaksOf(kova::Analysis& analysis, std::uint32_t scans);
