#pragma once

#include <string>

namespace kova_tool {

// With ion mobility (analysis.kvd), or one spectrum per frame without (analysis.kvs).
enum class AnalysisFormat { Mobility, Spectra };

// By the files in the directory. What holds neither counts as an analysis with mobility: that it is none is
// for the library to say.
AnalysisFormat formatOf(const std::string& directory);

// As the extension of its files.
const char* formatName(AnalysisFormat format);

// What the frames of a format are called.
struct FrameNouns {
    const char* one;
    const char* many;
};

FrameNouns nounsOf(AnalysisFormat format);

std::string metadataName(AnalysisFormat format);
std::string metadataPath(const std::string& directory, AnalysisFormat format);

}  // namespace kova_tool
