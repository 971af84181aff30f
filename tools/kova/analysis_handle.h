#pragma once

#include <cstdint>
#include <string>

#include "analysis_format.h"
#include "calibration_choice.h"

namespace kova_tool {

// Converts values of a frame.
using Conversion = std::uint32_t (*)(std::uint64_t, std::int64_t, const double*, double*, std::uint32_t);

// The library's calls that both formats have, each in its own family of functions.
struct FormatCalls {
    std::uint64_t (*open)(const char*, std::uint32_t);
    void (*close)(std::uint64_t);
    std::uint32_t (*lastErrorString)(char*, std::uint32_t);
    Conversion indexToMz;
    Conversion mzToIndex;
};

// An open analysis. Throws Failure with the library's text, and a hint where one is known, if it cannot be
// opened.
class AnalysisHandle {
public:
    AnalysisHandle(const std::string& directory, AnalysisFormat analysisFormat,
                   const CalibrationChoice& calibration = {});
    ~AnalysisHandle();
    AnalysisHandle(const AnalysisHandle&) = delete;
    AnalysisHandle& operator=(const AnalysisHandle&) = delete;

    std::uint64_t get() const { return handle; }
    AnalysisFormat format() const { return formatOfHandle; }
    const FormatCalls& calls() const;

    // Text of the last failure on this thread of the functions for this format.
    std::string lastError() const;

private:
    std::uint64_t open(const std::string& directory, const CalibrationChoice& calibration) const;

    AnalysisFormat formatOfHandle;
    std::uint64_t handle;
};

}  // namespace kova_tool
