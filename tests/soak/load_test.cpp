// Loads and unloads the library many times, with a call in between: what it sets up when loaded goes with it.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <dlfcn.h>

#include "fixtures/process_state.h"

namespace {

constexpr int kWarmUp = 50;
constexpr long kAllowedGrowthKilobytes = 1024;

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
    std::ptrdiff_t descriptors = 0;
    for (int i = 0; i < times; ++i) {
        if (!loadCallUnload(argv[1])) {
            return 1;
        }
        if (i == kWarmUp) {
            memory = fixtures::kilobytes("VmRSS");
            descriptors = fixtures::openDescriptors();
        }
    }
    const long memoryAfter = fixtures::kilobytes("VmRSS");
    const std::ptrdiff_t descriptorsAfter = fixtures::openDescriptors();
    std::printf("%d times: %ld kB, then %ld kB; %td descriptors, then %td\n", times, memory, memoryAfter,
                descriptors, descriptorsAfter);
    return memoryAfter <= memory + kAllowedGrowthKilobytes && descriptorsAfter == descriptors ? 0 : 1;
}
