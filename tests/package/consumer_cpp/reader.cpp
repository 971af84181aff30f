#include "reader.h"

std::size_t peaksOf(kova::Analysis& analysis, std::uint32_t scans) {
    return analysis.readFrame(1, 0, scans).peakCount();
}
