#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <sqlite3.h>

namespace bench {

// A simulated run for benchmarks, made once and kept in the folder given by KOVADATA_BENCH_DATA.
struct Run {
    int frames;
    int peaksPerFrame;
    int compression = 2;
    int msmsPerMs1 = 0;
    bool spectra = false;  // without mobility
};
inline constexpr Run kDenseRun{.frames = 24, .peaksPerFrame = 300'000};
inline constexpr Run kSparseRun{.frames = 160, .peaksPerFrame = 20'000};
inline constexpr Run kMsMsRun{.frames = 520, .peaksPerFrame = 100'000, .msmsPerMs1 = 8};
inline constexpr Run kSmallFramesRun{.frames = 10'000, .peaksPerFrame = 300, .msmsPerMs1 = 8};
inline constexpr Run kManySmallFramesRun{.frames = 100'000, .peaksPerFrame = 300, .msmsPerMs1 = 8};
inline constexpr Run kSpectraRun{.frames = 60, .peaksPerFrame = 200'000, .spectra = true};
std::filesystem::path simulatedRun(const Run& run);

// Calls the function with each row of a query. Raises std::runtime_error.
using RowFunction = std::function<void(sqlite3_stmt& row)>;
void forEachRow(const std::filesystem::path& database, const char* sql, const RowFunction& row);

// Ids of all precursors, ascending.
std::vector<std::int64_t> precursorIds(const std::filesystem::path& analysis);

struct StoredFrame {
    std::int64_t id;
    std::uint32_t scans;
    std::vector<std::byte> block;  // as it lies in the blob file, with its header
};

// All frames of an analysis with their compressed blocks, held in memory for the floors.
std::vector<StoredFrame> loadFrames(const std::filesystem::path& analysis);

// A simulated run and its frames.
struct LoadedRun {
    explicit LoadedRun(const Run& run) : path(simulatedRun(run)), frames(loadFrames(path)) {}

    std::filesystem::path path;
    std::vector<StoredFrame> frames;
};

// Loaded when first asked for, so that a filtered benchmark does not simulate what it does not read.
template <const Run& run, class Loaded = LoadedRun>
const Loaded& loaded() {
    static const Loaded input(run);
    return input;
}

}  // namespace bench
