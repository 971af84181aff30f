#include "calibration-state/calibration_state_selector.h"
#include "diag/throw.h"

// Modes and parameters as programs pass them become selectors. A list may give one parameter for all analyses
// or one for each, and none where the mode needs none. Any other length is a mistake of the caller.
namespace lumo::io::calibration {

namespace {

// The other modes have a meaning without a parameter: states of all sources.
bool needsParameter(CalibrationStateMode mode) {
    return mode == CalibrationStateMode::LastIncomplete || mode == CalibrationStateMode::Uuid;
}

// The text states the lengths that would do, since callers with many analyses cannot easily see which one is
// missing.
void checkParameterCount(CalibrationStateMode mode, std::size_t count, std::size_t given) {
    if (given == 1 || given == count || (given == 0 && !needsParameter(mode))) {
        return;
    }
    LUMO_THROW(std::runtime_error(
        "Invalid parameter list for recalib mode " + to_string(mode) + ", recalibParam must fit [" +
        std::to_string(count) + "] entries, got [" + std::to_string(given) + "]" +
        (needsParameter(mode) ? ", expected [1], or [" : ", expected [0], [1], or [") +
        std::to_string(count) + "]"));
}

}  // namespace

std::optional<CalibrationStateSelector> createCalibrationStateSelector(CalibrationStateMode mode,
                                                                       const std::string& parameter) {
    if (needsParameter(mode) && parameter.empty()) {
        LUMO_THROW(std::runtime_error("Invalid parameter for recalib mode " + to_string(mode) +
                                      ", recalibParam must not be empty"));
    }
    switch (mode) {
        case CalibrationStateMode::Off:
            return std::nullopt;
        case CalibrationStateMode::First:
            return parameter.empty() ? CalibrationStateSelector::useFirst()
                                     : CalibrationStateSelector::useFirst(parameter);
        case CalibrationStateMode::Last:
            return parameter.empty() ? CalibrationStateSelector::useLast()
                                     : CalibrationStateSelector::useLast(parameter);
        case CalibrationStateMode::LastIncomplete:
            return CalibrationStateSelector::useLastIncomplete(parameter);
        case CalibrationStateMode::Uuid:
            return CalibrationStateSelector::useByUUID(parameter);
    }
    LUMO_THROW(
        std::runtime_error("Unexpected recalibration mode [" + std::to_string(static_cast<int>(mode)) + "]"));
}

std::vector<std::optional<CalibrationStateSelector>> createCalibrationStateSelectors(
    CalibrationStateMode mode, std::size_t count, const std::vector<std::string>& parameters) {
    checkParameterCount(mode, count, parameters.size());
    std::vector<std::optional<CalibrationStateSelector>> selectors;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string parameter =
            parameters.empty() ? std::string() : parameters[parameters.size() == 1 ? 0 : i];
        selectors.push_back(createCalibrationStateSelector(mode, parameter));
    }
    return selectors;
}

}  // namespace lumo::io::calibration
