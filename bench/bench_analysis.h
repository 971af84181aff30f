#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace bench {

// A simulated run for benchmarks, made once and kept in the folder given by KOVADATA_BENCH_DATA.
struct Run {
    int frames;
    int peaksPerFrame;
    int compression = 2;
    int msmsPerMs1 = 0;
    bool spectra = false;  // without mobility
};
std::filesystem::path simulatedRun(const Run& run);

struct StoredFrame {
    std::int64_t id;
    std::uint32_t scans;
    std::vector<std::byte> block;  // as it lies in the blob file, with its header
};

// All frames of an analysis with their compressed blocks, held in memory for the floors.
std::vector<StoredFrame> loadFrames(const std::filesystem::path& analysis);

}  // namespace bench
