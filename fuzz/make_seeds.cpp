// Writes what each fuzz target starts from: make_seeds DIRECTORY makes DIRECTORY/<target>/*.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "analysis-writer/frame_block.h"
#include "analysis-writer/lzf_stream.h"
#include "analysis-writer/scan_blocks.h"
#include "analysis-writer/spectrum_block.h"
#include "common/two_files.h"
#include "fixtures/random.h"
#include "fixtures/small_analyses.h"
#include "fixtures/temp_directory.h"

namespace {

namespace fs = std::filesystem;
namespace writer = analysis_writer;
using writer::Bytes;

const writer::Frame kFrame = {{{1, 2}}, {}, {{3, 4}, {5, 6}, {70000, 100000}}};

class Seeds {
public:
    explicit Seeds(fs::path base) : directory(std::move(base)) {}

    void add(const std::string& target, const Bytes& input) {
        const fs::path folder = directory / target;
        fs::create_directories(folder);
        const auto name = "seed-" + std::to_string(count++);
        std::ofstream(folder / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(input.data()), static_cast<std::streamsize>(input.size()));
    }

private:
    fs::path directory;
    unsigned count = 0;
};

Bytes packed(const auto&... values) {
    Bytes bytes;
    const auto append = [&bytes](const auto& value) {
        const auto* const raw = reinterpret_cast<const std::uint8_t*>(&value);
        std::copy(raw, raw + sizeof value, std::back_inserter(bytes));
    };
    (append(values), ...);
    return bytes;
}

Bytes operator+(const Bytes& first, const Bytes& second) {
    Bytes both(first.size() + second.size());
    std::copy(second.begin(), second.end(), std::copy(first.begin(), first.end(), both.begin()));
    return both;
}

// Pseudo-random bytes for the targets that make values of whatever they get.
Bytes noise(std::uint64_t seed, std::size_t size) {
    fixtures::Random random(seed);
    Bytes bytes(size);
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(random());
    }
    return bytes;
}

void addBlocks(Seeds& seeds) {
    for (const int level : {1, 19}) {
        seeds.add("frame_block", writer::frameBlock(kFrame, {.zstdLevel = level}));
        seeds.add("frame_block", writer::frameBlock(writer::Frame(20, kFrame[2]), {.zstdLevel = level}));
    }
    seeds.add("frame_block", writer::emptyFrameBlock(3));
    seeds.add("frame_block", writer::frameBlock(kFrame, {.contentSize = writer::ContentSize::omitted}));
    Bytes words;
    for (const std::uint32_t word : writer::frameWords(kFrame)) {
        writer::appendU32(words, word);
    }
    seeds.add("scan_table", packed(std::uint32_t{3}, std::uint32_t{400000}, 1.0) + words);
    seeds.add("scan_table", packed(std::uint32_t{3}, std::uint32_t{50}, 0.37) + words);
    seeds.add("scan_header", writer::scanFrameBlock(kFrame));
    seeds.add("scan_header", writer::scanFrameBlock(writer::Frame(20, kFrame[2])));
    const Bytes values = writer::littleEndian(writer::runLengthValues(kFrame[2]));
    for (const std::uint16_t room : {std::uint16_t{0}, std::uint16_t{6000}}) {
        const Bytes head = packed(std::uint32_t{400000}, 0.37, room, std::uint16_t{77});
        seeds.add("lzf_scan", Bytes{0} + head + writer::lzfStream(values));
        seeds.add("lzf_scan", Bytes{0} + head + writer::lzfStream(Bytes(5000, 1)));
        seeds.add("lzf_scan", Bytes{1} + head + values);
    }
    const writer::Spectrum spectrum = {{{1.5, 2.5, 9.0}, {1, 2, 3}, {4, 5, 6}}, {0, 7, 0, 9}};
    for (const writer::SpectrumParts parts :
         {writer::SpectrumParts{}, {true, false, true}, {false, false, true}}) {
        for (const std::uint8_t first : {std::uint8_t{0}, std::uint8_t{1}}) {
            seeds.add("spectrum_block",
                      Bytes{first} + packed(std::uint64_t{3}) + writer::spectrumBlock(spectrum, parts));
        }
    }
}

void addNumbers(Seeds& seeds) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        for (const char* const target : {"metadata_tables", "run_queries"}) {
            seeds.add(target, noise(seed, 40 * seed));
        }
    }
}

void addDirectories(Seeds& seeds) {
    const auto add = [&seeds](const char* target, const fixtures::AnalysisBuilder& analysis,
                              const std::string& database) {
        const fixtures::MemoryDirectory directory;
        analysis.write(directory.path());
        seeds.add(target, fuzz::joinFiles(fixtures::contentOf(directory.path() / database),
                                          fixtures::contentOf(directory.path() / (database + "_bin"))));
    };
    add("analysis_directory", fixtures::smallZorelRun(1), "analysis.kvd");
    add("analysis_directory", fixtures::smallZorelRun(2), "analysis.kvd");
    add("spectrum_directory", fixtures::smallSpectra(), "analysis.kvs");
    const fixtures::MemoryDirectory store;
    fixtures::writeSmallCalibrationStore(store.path());
    seeds.add("calibration_store", fixtures::contentOf(store.path() / "calibration.sqlite"));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        return 2;
    }
    Seeds seeds(argv[1]);
    addBlocks(seeds);
    addNumbers(seeds);
    addDirectories(seeds);
}
