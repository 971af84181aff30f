#pragma once

#include <filesystem>
#include <span>

namespace kova_tool_common {

// Output that appears under its name when it is complete. Until then it lies beside its place, under a name
// that says so; what is not published is removed.
class StagedOutput {
public:
    explicit StagedOutput(const std::filesystem::path& place);
    ~StagedOutput();
    StagedOutput(const StagedOutput&) = delete;
    StagedOutput& operator=(const StagedOutput&) = delete;

    // Where to write.
    const std::filesystem::path& path() const { return stage; }

    // Takes the place of a file of the same name. The files that a directory may hold are moved one by one,
    // in their order, into a directory that is there already, which keeps what else it holds.
    void publish(std::span<const char* const> files = {});

private:
    std::filesystem::path place;
    std::filesystem::path stage;
};

}  // namespace kova_tool_common
