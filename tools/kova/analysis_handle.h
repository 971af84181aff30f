#pragma once

#include <cstdint>
#include <string>

namespace kova_tool {

// An open analysis. Throws Failure with the library's text, and a hint where one is known, if it cannot be
// opened.
class AnalysisHandle {
public:
    explicit AnalysisHandle(const std::string& directory, bool useRecalibratedState = false);
    ~AnalysisHandle();
    AnalysisHandle(const AnalysisHandle&) = delete;
    AnalysisHandle& operator=(const AnalysisHandle&) = delete;

    std::uint64_t get() const { return handle; }
    bool usesRecalibratedState() const;

private:
    std::uint64_t handle;
};

// Text of the last failure of the library on this thread.
std::string lastLibraryError();

}  // namespace kova_tool
