#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "fixtures/analysis_builder.h"
#include "fixtures/temp_directory.h"
#include "kovadata/kova.h"

namespace api {

// What the last failing call of this thread left behind, by the function that tells it.
std::string lastError(decltype(&kova_get_last_error_string) get = kova_get_last_error_string);

// "" when the analysis can be opened, else the error text.
std::string openError(const std::string& path, bool recalibrated = false);
std::string openError(const fixtures::AnalysisBuilder& builder);

// Peaks in two of three scans, for analyses of which something else is odd.
inline const fixtures::Frame kSmallFrame = {{{1, 2}}, {}, {{3, 4}, {5, 6}}};

// One call of a scan-reading function and what came of it.
struct ScanResult {
    std::uint32_t bytesNeeded = 0;
    std::vector<std::uint32_t> words;  // empty after a failure

    // The result taken apart; every word must be accounted for.
    analysis_writer::Frame peaks(std::uint32_t scans) const;
};

// An open analysis, used through the exported functions only.
class Analysis {
public:
    // What the builder makes, in a directory that goes with it.
    explicit Analysis(const fixtures::AnalysisBuilder& builder)
        : own(std::make_unique<fixtures::TempDirectory>()),
          handle(kova_open(builder.write(own->path()).c_str(), 0)) {}
    explicit Analysis(const std::filesystem::path& directory, bool recalibrated = false)
        : handle(kova_open(directory.c_str(), recalibrated ? 1 : 0)) {}
    Analysis(const Analysis&) = delete;
    Analysis& operator=(const Analysis&) = delete;
    ~Analysis() { kova_close(handle); }

    explicit operator bool() const { return handle != 0; }

    // Asks for the size, reads into a buffer of exactly that size and checks both answers against each other.
    ScanResult readRaw(std::int64_t frame, std::uint32_t begin, std::uint32_t end) const;
    ScanResult readNormalised(std::int64_t frame, std::uint32_t begin, std::uint32_t end) const;

    // "" when the scans can be read, else the error text.
    std::string errorOf(std::int64_t frame, std::uint32_t begin, std::uint32_t end) const;

private:
    std::unique_ptr<fixtures::TempDirectory> own;

public:
    const std::uint64_t handle;
};

}  // namespace api
