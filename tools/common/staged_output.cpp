#include "common/staged_output.h"

#include <string>
#include <system_error>

#include <unistd.h>

// A temporary name beside the place, or inside of a directory that exists already, so that publishing a file
// is a rename, which cannot fail half-way.
namespace kova_tool_common {

namespace {

// Free names end in the number of the process, so that simultaneous runs do not meet.
std::filesystem::path freeName(const std::filesystem::path& place) {
    const std::string name = place.string() + ".incomplete-" + std::to_string(getpid());
    std::filesystem::path free = name;
    for (int i = 1; std::filesystem::exists(std::filesystem::symlink_status(free)); ++i) {
        free = name + "-" + std::to_string(i);
    }
    return free;
}

// A directory that is there is written to from within: it may be the only one that the user may write to.
std::filesystem::path stageOf(const std::filesystem::path& place) {
    if (std::filesystem::is_directory(place)) {
        return freeName(place / "analysis");
    }
    // Devices and pipes cannot be replaced by a file.
    const bool isReplaceable = std::filesystem::is_regular_file(place) || !std::filesystem::exists(place);
    return isReplaceable ? freeName(place) : place;
}

// Links are followed to what they lead to, and a separator at the end is taken off. Pipes have no such path.
std::filesystem::path resolved(const std::filesystem::path& path) {
    std::error_code unknown;
    const std::filesystem::path whole =
        std::filesystem::weakly_canonical(std::filesystem::absolute(path), unknown);
    if (unknown) {
        return path;
    }
    return whole.has_filename() ? whole : whole.parent_path();
}

}  // namespace

StagedOutput::StagedOutput(const std::filesystem::path& thePlace)
    : place(resolved(thePlace)), stage(stageOf(place)) {}

StagedOutput::~StagedOutput() {
    std::error_code ignored;
    if (stage != place) {
        std::filesystem::remove_all(stage, ignored);
    }
}

void StagedOutput::publish(std::span<const char* const> files) {
    if (stage == place) {
        return;
    }
    if (!std::filesystem::is_directory(place)) {
        std::filesystem::rename(stage, place);
        return;
    }
    for (const char* const name : files) {
        if (std::filesystem::exists(stage / name)) {
            std::filesystem::rename(stage / name, place / name);
        }
    }
}

}  // namespace kova_tool_common
