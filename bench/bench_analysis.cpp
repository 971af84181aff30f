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

void forEachRow(const std::filesystem::path& database, const char* sql, const RowFunction& row) {
    sqlite3* opened = nullptr;
    const int code = sqlite3_open_v2(database.c_str(), &opened, SQLITE_OPEN_READONLY, nullptr);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> connection(opened, &sqlite3_close);
    sqlite3_stmt* compiled = nullptr;
    if (code != SQLITE_OK || sqlite3_prepare_v2(opened, sql, -1, &compiled, nullptr) != SQLITE_OK) {
        throw std::runtime_error(sqlite3_errmsg(opened));
    }
    const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> statement(compiled, &sqlite3_finalize);
    while (sqlite3_step(compiled) == SQLITE_ROW) {
        row(*compiled);
    }
}

std::vector<std::int64_t> precursorIds(const std::filesystem::path& analysis) {
    std::vector<std::int64_t> ids;
    forEachRow(analysis / "analysis.kvd", "SELECT Id FROM Precursors ORDER BY Id",
               [&](sqlite3_stmt& row) { ids.push_back(sqlite3_column_int64(&row, 0)); });
    return ids;
}

std::vector<StoredFrame> loadFrames(const std::filesystem::path& analysis) {
    const std::string name =
        std::filesystem::exists(analysis / "analysis.kvd") ? "analysis.kvd" : "analysis.kvs";
    std::ifstream blob(analysis / (name + "_bin"), std::ios::binary);
    std::vector<StoredFrame> frames;
    forEachRow(analysis / name, "SELECT Id, KovaId, NumScans FROM Frames ORDER BY Id",
               [&](sqlite3_stmt& row) {
                   const std::int64_t position = sqlite3_column_int64(&row, 1);
                   // The first word of a block in every compression type, as the simulator writes them.
                   std::uint32_t size = 0;
                   std::memcpy(&size, readBytes(blob, position, 4).data(), 4);
                   frames.push_back({sqlite3_column_int64(&row, 0),
                                     static_cast<std::uint32_t>(sqlite3_column_int(&row, 2)),
                                     readBytes(blob, position, size)});
               });
    return frames;
}

}  // namespace bench
