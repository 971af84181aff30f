#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "calibration-state/calibration_state_selector.h"
#include "kovadata/analysis_path.h"
#include "kovadata/guarded.h"
#include "logging/logger.h"

namespace lumo::io {

// A handle is the address of its instance and not validated: a handle that is closed, or of the other family,
// is a mistake of the caller that costs no look-up to those who make none. Each handle is used by one thread
// at a time.
template <class InstanceType>
InstanceType& instanceOf(std::uint64_t handle) {
    return *reinterpret_cast<InstanceType*>(handle);  // NOLINT(performance-no-int-to-ptr)
}

// The C interface has a flag where readers have a selector: any number other than 0 asks for the newest
// complete state of the calibration file.
inline std::optional<calibration::CalibrationStateSelector> stateFor(std::uint32_t useRecalibratedState) {
    return useRecalibratedState == 0 ? std::nullopt
                                     : std::optional(calibration::CalibrationStateSelector::useLast());
}

// Opens an analysis. `useRecalibratedState` is what the caller asked for and is logged as it is; the selector
// is what follows from it. The instance belongs to the caller from here on, until closeInstance().
template <class InstanceType>
std::uint64_t openInstance(const char* directoryName, std::uint32_t useRecalibratedState,
                           const typename InstanceType::Selector& selector) {
    using Interface = typename InstanceType::Interface;
    return guarded<Interface>(std::uint64_t{0}, [&] {
        const auto logger = logging::Logger::getLogger(Interface::kLoggerName);
        const std::filesystem::path directory = checkedAnalysisPath(directoryName);
        LUMO_LOG(logger, Trace, "Opening " << directoryName << ", recal = " << useRecalibratedState);
        auto instance = std::make_unique<InstanceType>(directory, selector);
        return reinterpret_cast<std::uint64_t>(instance.release());
    });
}

template <class InstanceType>
void closeInstance(std::uint64_t handle) {
    uncancelled([&] {
        const std::unique_ptr<InstanceType> instance(handle != 0 ? &instanceOf<InstanceType>(handle)
                                                                 : nullptr);
        try {
            const auto logger = logging::Logger::getLogger(InstanceType::Interface::kLoggerName);
            LUMO_LOG(logger, Trace, "Closing handle " << handle);
            if (instance) {
                LUMO_LOG(instance->getLogger(), Debug, "destroying...");
            }
        } catch (const std::exception&) {
            return;  // no memory to log with; the instance is destroyed all the same
        }
    });
}

}  // namespace lumo::io
