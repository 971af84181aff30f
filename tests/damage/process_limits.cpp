#include "damage/process_limits.h"

#include <cstdlib>
#include <fstream>
#include <string>

#include <sys/time.h>

namespace damage {

namespace {

std::size_t statusValue([[maybe_unused]] const std::string& key) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return 0;
#else
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(key)) {
            return 1024 * std::strtoull(line.c_str() + key.size(), nullptr, 10);
        }
    }
    return 0;
#endif
}

}  // namespace

void startWatchdog(unsigned seconds) {
    itimerval timer{};
    timer.it_value.tv_sec = static_cast<time_t>(seconds);
    setitimer(ITIMER_PROF, &timer, nullptr);
}

std::size_t peakMemory() { return statusValue("VmPeak:"); }
std::size_t currentMemory() { return statusValue("VmSize:"); }

}  // namespace damage
