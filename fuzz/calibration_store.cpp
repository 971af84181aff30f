// A re-calibrated state in a file of any bytes, beside an intact analysis, used through the exported functions.
#include "common/analysis_in_memory.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::AnalysisInMemory analysis({.recalibrated = true});
    analysis.useWith({{"calibration.sqlite", {data, size}}});
    return 0;
}
