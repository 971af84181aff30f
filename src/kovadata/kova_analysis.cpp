#include "kovadata/handle.h"
#include "kovadata/instance.h"
#include "kovadata/kova.h"

// Opening and closing of analyses with mobility.
using lumo::io::Instance;

uint64_t kova_open(const char* analysis_directory_name, uint32_t use_recalibrated_state) {
    return lumo::io::openInstance<Instance>(analysis_directory_name, use_recalibrated_state,
                                            lumo::io::stateFor(use_recalibrated_state));
}

void kova_close(uint64_t handle) { lumo::io::closeInstance<Instance>(handle); }

// Settled when the analysis was opened. Nothing is read, so nothing can fail.
uint32_t kova_has_recalibrated_state(uint64_t handle) {
    return lumo::io::uncancelled([&] {
        return lumo::io::instanceOf<Instance>(handle).getReader().usingStateFromCalibrationFile() ? 1U : 0U;
    });
}
