#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "common/staged_output.h"
#include "kova/output/output_buffer.h"
#include "kova/verbs/msms_output.h"

namespace kova_tool {

// A file in Mascot Generic Format, which is there under its name when it is complete.
class MgfFile final : public MsmsOutput {
public:
    // "-" writes to standard output. The run names the analysis in the titles of its spectra.
    MgfFile(std::string filePath, const std::string& run);
    ~MgfFile() override;
    MgfFile(const MgfFile&) = delete;
    MgfFile& operator=(const MgfFile&) = delete;

    // A spectrum without peaks is left out, search programs do not like them.
    bool add(const MsmsSpectrum& spectrum) override;
    // Gives the file its name, and says what is in it.
    void end() override;

private:
    std::string path;
    std::optional<kova_tool_common::StagedOutput> staged;
    std::string runName;
    int descriptor = -1;
    std::optional<OutputBuffer> out;
    std::uint64_t written = 0;
    std::uint64_t leftOut = 0;
    std::uint64_t peaksWritten = 0;
};

}  // namespace kova_tool
