#pragma once

#include <string>

namespace kova_tool {

// With ion mobility (analysis.kvd), or one spectrum per frame without (analysis.kvs).
enum class AnalysisFormat { mobility, spectra };

// By the files in the directory. What holds neither counts as an analysis with mobility: that it is none is
// for the library to say.
AnalysisFormat formatOf(const std::string& directory);

std::string metadataName(AnalysisFormat format);
std::string metadataPath(const std::string& directory, AnalysisFormat format);

}  // namespace kova_tool
