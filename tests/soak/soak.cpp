// Opens, reads, converts and closes good and bad analyses in turn: memory and descriptors must stay as they are.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "fixtures/every_call.h"
#include "fixtures/process_state.h"
#include "fixtures/small_analyses.h"
#include "fixtures/temp_directory.h"
#include "kovadata/kova.h"

namespace {

namespace fs = std::filesystem;

// What the C library keeps for later may vary a little.
constexpr long kAllowedGrowthKilobytes = 2048;

struct Usage {
    long residentKilobytes = fixtures::kilobytes("VmRSS");
    std::ptrdiff_t descriptors = fixtures::openDescriptors();
};

struct Analysis {
    std::unique_ptr<fixtures::MemoryDirectory> directory = std::make_unique<fixtures::MemoryDirectory>();
    fixtures::EveryCallOptions calls;
};

Analysis frames(int compression, bool recalibrated) {
    Analysis analysis;
    analysis.calls.recalibrated = recalibrated;
    fixtures::smallZorelRun(compression).write(analysis.directory->path());
    if (recalibrated) {
        fixtures::writeSmallCalibrationStore(analysis.directory->path());
    }
    return analysis;
}

Analysis spectra() {
    Analysis analysis;
    analysis.calls.spectra = true;
    fixtures::smallSpectra().write(analysis.directory->path());
    return analysis;
}

Analysis cutShort(Analysis analysis, const std::string& file, std::uintmax_t bytesLost) {
    const fs::path path = analysis.directory->path() / file;
    fs::resize_file(path, fs::file_size(path) - bytesLost);
    return analysis;
}

void print(long cycle, const Usage& now) {
    std::printf("%8ld cycles  %6ld kB resident  %td descriptors\n", cycle, now.residentKilobytes,
                now.descriptors);
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    const long cycles = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 100'000;
    kova_set_num_threads(1);
    Analysis analyses[] = {frames(1, false),
                           frames(2, false),
                           frames(2, true),
                           spectra(),
                           cutShort(frames(1, false), "analysis.kvd_bin", 20),
                           cutShort(frames(2, false), "analysis.kvd_bin", 20),
                           cutShort(frames(2, false), "analysis.kvd", 512),
                           cutShort(frames(2, true), "calibration.sqlite", 512),
                           cutShort(spectra(), "analysis.kvs_bin", 20),
                           Analysis()};
    const long warmUp = std::max(100L, cycles / 100);
    Usage before;
    fixtures::EveryCallResult total;
    for (long cycle = 0; cycle < cycles; ++cycle) {
        if (cycle == warmUp) {
            before = {};
            print(cycle, before);
        }
        const Analysis& analysis = analyses[static_cast<std::size_t>(cycle) % std::size(analyses)];
        total += fixtures::makeEveryCall(analysis.directory->path().string(), analysis.calls);
    }
    const Usage after;
    print(cycles, after);
    std::printf("%u calls, %u of them failed\n", total.calls, total.failures);
    const bool flat = after.descriptors == before.descriptors &&
                      after.residentKilobytes <= before.residentKilobytes + kAllowedGrowthKilobytes;
    std::puts(flat ? "flat" : "NOT FLAT");
    return flat ? 0 : 1;
}
