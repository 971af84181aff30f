#include "calibration-state/calibration_state_selector.h"
#include "failure.h"
#include "kovadata/handle.h"
#include "kovadata/instance.h"
#include "kovadata/kvs_instance.h"
#include "state_access.h"

namespace kova_tool {
namespace {

using lumo::io::Instance;
using lumo::io::KvsInstance;
using Selector = std::optional<lumo::io::calibration::CalibrationStateSelector>;

Selector selectorOf(const std::string& state) {
    const std::size_t colon = state.find(':');
    const std::string mode = state.substr(0, colon);
    const std::string parameter = colon == std::string::npos ? "" : state.substr(colon + 1);
    try {
        return createCalibrationStateSelector(lumo::io::calibration::from_string(mode), parameter);
    } catch (const std::runtime_error& error) {
        throw UsageError("--calibration " + state + ": " + error.what());
    }
}

}  // namespace

void handOver(char**) {}

std::uint64_t openWithState(AnalysisFormat format, const std::string& directory, const std::string& state) {
    const Selector selector = selectorOf(state);
    const std::uint32_t use = selector ? 1 : 0;
    return format == AnalysisFormat::Mobility
               ? lumo::io::openInstance<Instance>(directory.c_str(), use, selector)
               : lumo::io::openInstance<KvsInstance>(directory.c_str(), use, selector);
}

std::optional<std::string> keyOfStateInUse(AnalysisFormat format, std::uint64_t handle) {
    return format == AnalysisFormat::Mobility
               ? lumo::io::instanceOf<Instance>(handle).getReader().getCalibrationStateId()
               : lumo::io::instanceOf<KvsInstance>(handle).getReader().getCalibrationStateId();
}

}  // namespace kova_tool
