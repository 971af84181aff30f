#pragma once

#include <string>

#include "analysis_handle.h"
#include "metadata_database.h"

namespace kova_tool {

// An analysis that is open in the library, with its metadata.
struct OpenAnalysis {
    OpenAnalysis(const std::string& directory, AnalysisFormat format,
                 const CalibrationChoice& calibration = {})
        : handle(directory, format, calibration), metadata(metadataPath(directory, format)) {}

    AnalysisHandle handle;
    MetadataDatabase metadata;
};

}  // namespace kova_tool
