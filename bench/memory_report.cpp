// Prints, as JSON, the resident memory in MB and the number of allocations that one use of the library takes.
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "bench_analysis.h"
#include "kovadata/kova.h"

namespace {

std::atomic<std::uint64_t> allocations{0};

}  // namespace

// In place of the C library's, for everything in the process: the library, SQLite and zstd included.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size) {
    ++allocations;
    return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
    ++allocations;
    return __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
    ++allocations;
    return __libc_realloc(memory, size);
}
}

namespace {

// A line of the process's status such as VmRSS (resident now) or VmHWM (resident at most), in MB.
double statusMegabytes(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name + ":")) {
            return std::stod(line.substr(name.size() + 1)) / 1024.0;
        }
    }
    return 0.0;
}

void resetPeak() { std::ofstream("/proc/self/clear_refs") << 5; }

nlohmann::json afterOpen() {
    const std::string run = bench::simulatedRun(bench::kDenseRun);
    const double before = statusMegabytes("VmRSS");
    const std::uint64_t handle = kova_open(run.c_str(), 0);
    const double after = statusMegabytes("VmRSS");
    kova_close(handle);
    return {{"after_open_mb", after - before}};
}

nlohmann::json denseRun() {
    const std::string run = bench::simulatedRun(bench::kDenseRun);
    std::vector<std::uint32_t> buffer(1'000'000);
    const auto readAll = [&](std::uint64_t handle) {
        for (std::int64_t frame = 1; frame <= 24; ++frame) {
            kova_read_scans_v2(handle, frame, 0, 900, buffer.data(),
                               static_cast<std::uint32_t>(4 * buffer.size()));
        }
    };
    resetPeak();
    const double before = statusMegabytes("VmRSS");
    const std::uint64_t handle = kova_open(run.c_str(), 0);
    readAll(handle);
    const double peak = statusMegabytes("VmHWM");
    const std::uint64_t allocationsBefore = allocations;
    readAll(handle);
    const std::uint64_t steady = allocations - allocationsBefore;
    kova_close(handle);
    return {{"reading_dense_run_mb", peak - before}, {"allocations_reading_again", steady}};
}

nlohmann::json precursors() {
    const std::string run = bench::simulatedRun(bench::kMsMsRun);
    const std::vector<std::int64_t> ids = bench::precursorIds(run);
    resetPeak();
    const double before = statusMegabytes("VmRSS");
    const std::uint64_t handle = kova_open(run.c_str(), 0);
    kova_read_zorel_msms_v2(
        handle, ids.data(), static_cast<std::uint32_t>(ids.size()),
        [](std::int64_t, std::uint32_t, const double*, const float*, void*) {}, nullptr);
    const double peak = statusMegabytes("VmHWM");
    kova_close(handle);
    return {{"extracting_precursors_mb", peak - before}};
}

}  // namespace

int main(int argc, char** argv) {
    const std::map<std::string, nlohmann::json (*)()> reports = {
        {"open", afterOpen}, {"dense", denseRun}, {"precursors", precursors}};
    const auto report = reports.find(argc > 1 ? argv[1] : "");
    if (report == reports.end()) {
        std::fprintf(stderr, "usage: memory_report open|dense|precursors\n");
        return 2;
    }
    std::printf("%s\n", report->second().dump().c_str());
    return 0;
}
