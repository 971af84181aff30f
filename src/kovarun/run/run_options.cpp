#include "kovarun/run/run_options.h"

#include <sched.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "calibration-state/calibration_state_mode.h"
#include "diag/throw.h"
#include "kovarun/run/sized.h"

// The caller's options, checked and completed. By default a run uses all processors on which the process may
// run: in a container or under a batch system these are fewer than the machine has.
namespace lumo::run {

namespace {

constexpr std::uint64_t kDefaultMemoryBudgetBytes = std::uint64_t{256} << 20;

// A process may be confined to fewer processors than the machine has.
unsigned usableProcessors() {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (sched_getaffinity(0, sizeof allowed, &allowed) == 0 && CPU_COUNT(&allowed) > 0) {
        return static_cast<unsigned>(CPU_COUNT(&allowed));
    }
    return std::max(1U, std::thread::hardware_concurrency());
}

}  // namespace

Intensities checkedIntensities(std::uint32_t value, Intensities ofRun) {
    switch (value) {
        case KVR_INTENSITIES_DEFAULT:
            return ofRun;
        case KVR_INTENSITIES_NORMALIZED:
            return Intensities::Normalized;
        case KVR_INTENSITIES_RAW:
            return Intensities::Raw;
        default:
            LUMO_THROW(
                std::invalid_argument("There are no intensities of kind " + std::to_string(value) + "."));
    }
}

// A mode that does not exist is refused by the factory of selectors, which knows them all.
RunOptions checkedOptions(const kvr_options* options) {
    const kvr_options given = sized(options, "kvr_options");
    const char* const parameter = given.calibration_parameter;
    RunOptions checked;
    checked.selector = io::calibration::createCalibrationStateSelector(
        static_cast<io::calibration::CalibrationStateMode>(given.calibration),
        parameter == nullptr ? "" : parameter);
    checked.allowsFallback = given.calibration_fallback != 0;
    checked.intensities = checkedIntensities(given.intensities, Intensities::Normalized);
    checked.threads = given.threads == 0 ? usableProcessors() : std::min(given.threads, kMostThreads);
    checked.memoryBudget = given.memory_budget == 0 ? kDefaultMemoryBudgetBytes : given.memory_budget;
    return checked;
}

}  // namespace lumo::run
