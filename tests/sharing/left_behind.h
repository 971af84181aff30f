#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "fixtures/analysis_builder.h"

namespace sharing {

// Three scans, the same in each frame.
inline const fixtures::Frame kFrame = {{{1, 2}}, {}, {{3, 4}, {5, 6}}};

// Writes an analysis of one frame whose database is in this journal mode of SQLite.
void writeAnalysis(const std::filesystem::path& directory, const std::string& journalMode);

// The statement that adds a frame.
std::string insertFrame(int id);

// What a program that wrote the database has left: a second frame, and files beside the database.
struct LeftBehind {
    const char* name;
    const char* journalMode;
    bool killed;   // or ended properly
    bool withLog;  // of a killed program: the log, or an empty one
    bool withIndex;
    int frames;  // that can be read
};

const std::vector<LeftBehind>& allLeftBehind();

void write(const LeftBehind& state, const std::filesystem::path& directory);

// Time of the last change, and content.
using File = std::pair<std::filesystem::file_time_type, std::vector<std::uint8_t>>;
std::map<std::string, File> everythingIn(const std::filesystem::path& directory);

}  // namespace sharing
