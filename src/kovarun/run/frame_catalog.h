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

// What the metadata say about a frame, as far as choosing frames and planning their reading need it. Planning
// may rely on none of it: a writer, or a damaged file, may state anything. What is not stated is NaN, 0 or
// -1.
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

// The frames of a run. They are read once, and again after a writer has changed the database. Any number of
// threads may call; lists that were given out are never changed, so a query keeps the frames it was made
// with.
class FrameCatalog {
public:
    FrameCatalog(std::filesystem::path database, std::uintmax_t bytesOfFrames)
        : file(std::move(database)), blobSize(bytesOfFrames) {}

    // All frames, ids ascending, as the database has them now.
    std::shared_ptr<const FrameEntries> all();

    // The frames with these ids, in the order and as often as they are listed. A frame that does not exist is
    // there with nothing but its id: reading it later gives the error that names it.
    FrameEntries listed(std::span<const std::int64_t> ids);

    // Gives the connection up without closing it: in a child process it is the parent's.
    void abandon();

private:
    // AsKnown: what was read last will do. AsStoredNow: asks the database whether that is still true.
    enum class Freshness { AsKnown, AsStoredNow };

    std::shared_ptr<const FrameEntries> read(Freshness freshness);
    void update();

    std::filesystem::path file;
    std::uintmax_t blobSize;
    std::mutex mutex;  // guards what follows
    std::unique_ptr<CppSQLite3DB> db;
    std::int64_t version = -1;  // of the data, when the frames were read
    std::shared_ptr<const FrameEntries> frames;
};

}  // namespace lumo::run
