#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "common/staged_output.h"
#include "kova/output/output_buffer.h"
#include "kova/run/msms_reader.h"

namespace kova_tool {

// A file in Mascot Generic Format, which is there under its name when it is complete.
class MgfFile {
public:
    // "-" writes to standard output. The run names the analysis in the titles of its spectra.
    MgfFile(std::string filePath, const std::string& run);
    ~MgfFile();
    MgfFile(const MgfFile&) = delete;
    MgfFile& operator=(const MgfFile&) = delete;

    // A spectrum without peaks is left out, search programs do not like them. false: nobody reads any more.
    bool write(const MsmsSpectrum& spectrum);
    // Gives the file its name.
    void finish();

    bool isStandardOutput() const { return path == "-"; }
    std::uint64_t spectra() const { return written; }
    std::uint64_t spectraLeftOut() const { return leftOut; }
    std::uint64_t peaks() const { return peaksWritten; }

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
