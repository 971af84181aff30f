#include "analysis_format.h"

#include <filesystem>
#include <system_error>

namespace kova_tool {

AnalysisFormat formatOf(const std::string& directory) {
    const auto holds = [&](AnalysisFormat format) {
        std::error_code ignored;
        return std::filesystem::exists(metadataPath(directory, format), ignored);
    };
    return !holds(AnalysisFormat::Mobility) && holds(AnalysisFormat::Spectra) ? AnalysisFormat::Spectra
                                                                              : AnalysisFormat::Mobility;
}

const char* formatName(AnalysisFormat format) { return format == AnalysisFormat::Mobility ? "kvd" : "kvs"; }

FrameNouns nounsOf(AnalysisFormat format) {
    return format == AnalysisFormat::Mobility ? FrameNouns{"frame", "frames"}
                                              : FrameNouns{"spectrum", "spectra"};
}

std::string metadataName(AnalysisFormat format) { return std::string("analysis.") + formatName(format); }

std::string metadataPath(const std::string& directory, AnalysisFormat format) {
    return (std::filesystem::path(directory) / metadataName(format)).string();
}

}  // namespace kova_tool
