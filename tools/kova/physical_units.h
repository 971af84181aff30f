#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "analysis_handle.h"

namespace kova_tool {

// Conversions to physical units by the calibrations of a frame. A frame without the calibration is common, so
// that is an answer and no failure; any other reason why a conversion failed is told on standard error, each
// text once.
class PhysicalUnits {
public:
    // The analysis must outlive this object.
    explicit PhysicalUnits(const AnalysisHandle& openAnalysis) : analysis(openAnalysis) {}

    // Convert in place. false: there are no such units for this frame, and the values are unspecified.
    bool indexToMz(std::int64_t frame, std::vector<double>& values);
    bool scanToOneOverK0(std::int64_t frame, std::vector<double>& values);

private:
    bool noteFailure();

    const AnalysisHandle& analysis;
    std::set<std::string> notedTexts;
};

}  // namespace kova_tool
