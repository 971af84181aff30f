#include "bench_analysis.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>

#include <sqlite3.h>

#include "kova-simulate/simulator.h"

namespace bench {

namespace {

std::filesystem::path dataFolder() {
    const char* const folder = std::getenv("KOVADATA_BENCH_DATA");
    return folder != nullptr ? folder : "bench-data";
}

std::string nameOf(const Run& run) {
    return std::to_string(run.frames) + "x" + std::to_string(run.peaksPerFrame) + "-type" +
           std::to_string(run.compression) + "-msms" + std::to_string(run.msmsPerMs1) +
           (run.spectra ? "-spectra.d" : ".d");
}

std::vector<std::byte> readBytes(std::ifstream& file, std::int64_t position, std::size_t size) {
    std::vector<std::byte> bytes(size);
    file.seekg(position);
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size));
    if (!file) {
        throw std::runtime_error("benchmark data are cut short");
    }
    return bytes;
}

}  // namespace

std::filesystem::path simulatedRun(const Run& run) {
    const std::filesystem::path directory = dataFolder() / nameOf(run);
    if (!std::filesystem::exists(directory)) {
        // Made under another name first, so that an interrupted run is not taken for a complete one.
        simulator::Options options;
        options.out = dataFolder() / (nameOf(run) + ".part");
        options.frames = static_cast<std::uint32_t>(run.frames);
        options.peaksPerFrame = static_cast<std::uint32_t>(run.peaksPerFrame);
        options.compression = run.compression;
        options.msmsPerMs1 = static_cast<std::uint32_t>(run.msmsPerMs1);
        options.format = run.spectra ? analysis_writer::Format::kvs : analysis_writer::Format::kvd;
        std::filesystem::remove_all(options.out);
        simulator::simulate(options);
        std::filesystem::rename(options.out, directory);
    }
    return directory;
}

std::vector<StoredFrame> loadFrames(const std::filesystem::path& analysis) {
    const std::string name =
        std::filesystem::exists(analysis / "analysis.kvd") ? "analysis.kvd" : "analysis.kvs";
    sqlite3* connection = nullptr;
    sqlite3_open_v2((analysis / name).c_str(), &connection, SQLITE_OPEN_READONLY, nullptr);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> close(connection, &sqlite3_close);
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(connection, "SELECT Id, KovaId, NumScans FROM Frames ORDER BY Id", -1, &statement,
                       nullptr);
    const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> finalize(statement, &sqlite3_finalize);
    std::ifstream blob(analysis / (name + "_bin"), std::ios::binary);
    std::vector<StoredFrame> frames;
    while (sqlite3_step(statement) == SQLITE_ROW) {
        const std::int64_t position = sqlite3_column_int64(statement, 1);
        std::uint32_t size =
            0;  // the first word of a block in both compression types, as the simulator writes them
        std::memcpy(&size, readBytes(blob, position, 4).data(), 4);
        frames.push_back({sqlite3_column_int64(statement, 0),
                          static_cast<std::uint32_t>(sqlite3_column_int(statement, 2)),
                          readBytes(blob, position, size)});
    }
    return frames;
}

}  // namespace bench
