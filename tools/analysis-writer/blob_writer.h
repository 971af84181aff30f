#pragma once

#include <filesystem>
#include <fstream>

#include "analysis-writer/little_endian.h"

namespace analysis_writer {

// The blob file of an analysis. It starts with a few bytes that belong to no block, so that a position lost
// on the way (0) never leads to a frame by accident.
class BlobWriter {
public:
    static constexpr std::size_t kLeadingBytes = 16;

    explicit BlobWriter(const std::filesystem::path& path);

    // Returns the position at which the bytes lie.
    std::int64_t append(ByteView bytes);

    // Writes at any position; a gap after the end becomes a hole.
    void writeAt(std::int64_t position, ByteView bytes);

    std::int64_t size() const { return end; }

    // Throws when anything written so far did not reach the file.
    void flush();

private:
    void put(std::int64_t position, ByteView bytes);

    std::filesystem::path path;
    std::ofstream stream;
    std::int64_t end = 0;
    std::int64_t writePosition = 0;
};

}  // namespace analysis_writer
