#pragma once

#include <cstdint>
#include <memory>

#include "calibration-state/calibration_state_selector.h"
#include "kovadata/analysis_path.h"
#include "kovadata/guarded.h"
#include "logging/logger.h"

namespace lumo::io {

// A handle is the address of its instance; it is not validated.
template <class InstanceType>
InstanceType& instanceOf(std::uint64_t handle) {
    return *reinterpret_cast<InstanceType*>(handle);  // NOLINT(performance-no-int-to-ptr)
}

template <class InstanceType>
std::uint64_t openInstance(const char* directoryName, const typename InstanceType::Selector& selector) {
    using Interface = typename InstanceType::Interface;
    return guarded<Interface>(std::uint64_t{0}, [&] {
        const auto logger = logging::Logger::getLogger(Interface::loggerName);
        const std::filesystem::path directory = checkedAnalysisPath(directoryName);
        LUMO_LOG(logger, Trace,
                 "Opening " << directoryName << ", recal = " << (selector ? selector->to_string() : "0"));
        auto instance = std::make_unique<InstanceType>(directory, selector);
        return reinterpret_cast<std::uint64_t>(instance.release());
    });
}

template <class InstanceType>
std::uint64_t openInstance(const char* directoryName, std::uint32_t useRecalibratedState) {
    typename InstanceType::Selector selector;
    if (useRecalibratedState != 0) {
        selector = calibration::CalibrationStateSelector::useLast();
    }
    return openInstance<InstanceType>(directoryName, selector);
}

template <class InstanceType>
void closeInstance(std::uint64_t handle) {
    uncancelled([&] {
        const std::unique_ptr<InstanceType> instance(handle != 0 ? &instanceOf<InstanceType>(handle)
                                                                 : nullptr);
        try {
            const auto logger = logging::Logger::getLogger(InstanceType::Interface::loggerName);
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
