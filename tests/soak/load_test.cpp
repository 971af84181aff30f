// Loads and unloads the library many times, with a call in between: what it sets up when loaded goes with it.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <dlfcn.h>

namespace {

constexpr int kWarmUp = 50;
constexpr long kAllowedGrowthKilobytes = 1024;

long residentKilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) {
            return std::strtol(line.c_str() + 6, nullptr, 10);
        }
    }
    return 0;
}

long openDescriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return std::distance(begin(descriptors), end(descriptors));
}

bool loadCallUnload(const char* library) {
    void* const loaded = dlopen(library, RTLD_NOW | RTLD_LOCAL);
    if (loaded == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return false;
    }
    const auto open =
        reinterpret_cast<std::uint64_t (*)(const char*, std::uint32_t)>(dlsym(loaded, "kova_open"));
    const bool failed = open("/nowhere", 0) == 0;
    return dlclose(loaded) == 0 && failed;
}

}  // namespace

int main(int argc, char** argv) {
    const int times = argc > 2 ? std::atoi(argv[2]) : 1000;
    long memory = 0;
    long descriptors = 0;
    for (int i = 0; i < times; ++i) {
        if (!loadCallUnload(argv[1])) {
            return 1;
        }
        if (i == kWarmUp) {
            memory = residentKilobytes();
            descriptors = openDescriptors();
        }
    }
    std::printf("%d times: %ld kB, then %ld kB; %ld descriptors, then %ld\n", times, memory,
                residentKilobytes(), descriptors, openDescriptors());
    const bool flat =
        residentKilobytes() <= memory + kAllowedGrowthKilobytes && openDescriptors() == descriptors;
    return flat ? 0 : 1;
}
