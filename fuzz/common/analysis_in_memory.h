#pragma once

#include <map>
#include <span>
#include <string>

#include "fixtures/every_call.h"
#include "fixtures/temp_directory.h"

namespace fuzz {

// An analysis directory in memory whose files are exchanged from input to input. The files of an intact
// analysis are there from the start.
class AnalysisInMemory {
public:
    explicit AnalysisInMemory(const fixtures::EveryCallOptions& options);

    // Replaces files, then opens the analysis and makes every exported call.
    void useWith(const std::map<std::string, std::span<const std::uint8_t>>& files) const;

    const std::filesystem::path& path() const { return directory.path(); }

private:
    fixtures::MemoryDirectory directory;
    fixtures::EveryCallOptions calls;
};

}  // namespace fuzz
