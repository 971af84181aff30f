#include "kova/run/open_hint.h"

#include <filesystem>
#include <system_error>

namespace kova_tool {
namespace {

namespace fs = std::filesystem;

constexpr int kMaxEntriesLookedAt = 1000;

bool isFile(const fs::path& path) {
    std::error_code ignored;
    return fs::is_regular_file(path, ignored);
}

bool holdsAnalysis(const fs::path& directory) {
    return isFile(directory / "analysis.kvd") || isFile(directory / "analysis.kvs");
}

std::string hintForFile(const fs::path& file) {
    const fs::path directory = file.has_parent_path() ? file.parent_path() : fs::path(".");
    return holdsAnalysis(directory) ? "name the directory that holds it: " + directory.string()
                                    : "an analysis is a directory that holds analysis.kvd or analysis.kvs";
}

// The analysis is often one level below the directory that was named.
std::string hintForDirectory(const fs::path& directory) {
    std::error_code error;
    fs::directory_iterator entry(directory, error);
    for (int seen = 0; !error && entry != fs::directory_iterator() && seen < kMaxEntriesLookedAt; ++seen) {
        if (holdsAnalysis(entry->path())) {
            return "there is an analysis in it: " + entry->path().string();
        }
        entry.increment(error);
    }
    return "an analysis is a directory that holds analysis.kvd and analysis.kvd_bin, or analysis.kvs and "
           "analysis.kvs_bin";
}

}  // namespace

std::string openHint(const std::string& path) {
    std::error_code ignored;
    if (isFile(path)) {
        return hintForFile(path);
    }
    if (!fs::is_directory(path, ignored) || holdsAnalysis(path)) {
        return {};
    }
    return hintForDirectory(path);
}

}  // namespace kova_tool
