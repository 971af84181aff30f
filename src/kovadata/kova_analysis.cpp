#include <memory>

#include "kovadata/analysis_path.h"
#include "kovadata/guarded.h"
#include "kovadata/instance.h"
#include "kovadata/interface_family.h"
#include "kovadata/kova.h"

using lumo::io::Instance;
using lumo::io::KovaInterface;
using lumo::logging::Logger;

uint64_t kova_open(const char* analysis_directory_name, uint32_t use_recalibrated_state) {
    return lumo::io::guarded<KovaInterface>(uint64_t{0}, [&] {
        const Logger logger = Logger::getLogger(KovaInterface::loggerName);
        const std::filesystem::path directory = lumo::io::checkedAnalysisPath(analysis_directory_name);
        LUMO_LOG(logger, Trace,
                 "Opening " << analysis_directory_name << ", recal = " << use_recalibrated_state);
        return std::make_unique<Instance>(directory, use_recalibrated_state != 0).release()->toHandle();
    });
}

void kova_close(uint64_t handle) {
    const std::unique_ptr<Instance> instance(handle != 0 ? &Instance::fromHandle(handle) : nullptr);
    try {
        LUMO_LOG(Logger::getLogger(KovaInterface::loggerName), Trace, "Closing handle " << handle);
        if (instance) {
            LUMO_LOG(instance->getLogger(), Debug, "destroying...");
        }
    } catch (const std::exception&) {
        return;  // no memory to log with; the instance is destroyed all the same
    }
}

uint32_t kova_has_recalibrated_state(uint64_t handle) {
    return Instance::fromHandle(handle).getReader().usingStateFromCalibrationFile() ? 1 : 0;
}
