#pragma once

#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "sqlite/cppsqlite3.h"

namespace lumo::run {

// What selecting frames and planning their reading takes of the metadata. What these do not state is NaN, 0
// or -1.
struct FrameEntry {
    std::int64_t id = 0;
    double time = std::numeric_limits<double>::quiet_NaN();  // s
    std::int64_t scans = -1;
    std::int64_t peaks = -1;
    std::int64_t position = -1;    // of the frame in the file of frames
    std::int64_t storedBytes = 0;  // up to the frame that follows in the file; 0 if that is not known
    std::int8_t msLevel = 0;
};

using FrameEntries = std::vector<FrameEntry>;

// The frames of a run. They are read once, and again when a writer has changed the database since. Used by
// any number of threads.
class FrameCatalog {
public:
    FrameCatalog(std::filesystem::path database, std::uintmax_t bytesOfFrames)
        : file(std::move(database)), blobSize(bytesOfFrames) {}

    // All frames, ids ascending.
    std::shared_ptr<const FrameEntries> all();

    // The frames with these ids, in their order; of one that does not exist there is nothing but its id.
    FrameEntries listed(std::span<const std::int64_t> ids);

    // Gives the connection up without closing it: in a child process it is the parent's.
    void abandon();

private:
    enum class Freshness { AsKnown, AsStoredNow };

    std::shared_ptr<const FrameEntries> read(Freshness freshness);
    void update();

    std::filesystem::path file;
    std::uintmax_t blobSize;
    std::mutex mutex;  // guards what follows
    std::unique_ptr<CppSQLite3DB> db;
    std::int64_t version = -1;  // "PRAGMA data_version" when the frames were read
    std::shared_ptr<const FrameEntries> frames;
};

}  // namespace lumo::run
