#pragma once

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "command_options.h"
#include "table_writer.h"

namespace kova_tool {

struct FramesOptions : CommonOptions {
    bool read = false;
};

// Print one line per frame of an analysis with mobility, or per spectrum of one without. Frames that cannot
// be read are told on standard error and in the exit status that is returned.
int listFrames(const FramesOptions& options);
int listSpectra(const FramesOptions& options);

using Range = std::optional<std::pair<double, double>>;

// Smallest and largest value that a conversion gives for the two ends of a range.
template <class Convert>
Range convertedRange(double first, double last, Convert convert) {
    std::vector<double> ends = {first, last};
    if (!convert(ends)) {
        return std::nullopt;
    }
    return std::minmax(ends[0], ends[1]);
}

inline Cell smallestCell(const Range& range) { return range ? Cell(range->first) : Cell(); }
inline Cell largestCell(const Range& range) { return range ? Cell(range->second) : Cell(); }

}  // namespace kova_tool
