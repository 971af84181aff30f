#pragma once

#include <filesystem>

namespace simulator {

// Output that appears under its name when it is complete. Until then it lies beside its place, under a name that tells so;
// what is not published is removed.
class StagedOutput {
public:
    explicit StagedOutput(const std::filesystem::path& place);
    ~StagedOutput();
    StagedOutput(const StagedOutput&) = delete;
    StagedOutput& operator=(const StagedOutput&) = delete;

    // Where to write.
    const std::filesystem::path& path() const { return stage; }

    // Takes the place of a file of the same name. Files of a directory are moved one by one into a directory that is there
    // already, which keeps what else it holds.
    void publish();

private:
    std::filesystem::path place;
    std::filesystem::path stage;
};

// Analysis files in a directory: raises std::runtime_error if there are any, or removes them and nothing else.
void refuseToReplace(const std::filesystem::path& directory);
void removeAnalysis(const std::filesystem::path& directory);

}  // namespace simulator
