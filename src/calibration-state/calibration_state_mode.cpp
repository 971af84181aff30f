#include "calibration-state/calibration_state_mode.h"

#include <array>
#include <stdexcept>
#include <utility>

#include "diag/throw.h"

namespace lumo::io::calibration {

namespace {

// Both directions use this one list, so what one writes the other reads.
constexpr std::array<std::pair<CalibrationStateMode, const char*>, 5> kTexts = {{
    {CalibrationStateMode::Off, "off"},
    {CalibrationStateMode::First, "first"},
    {CalibrationStateMode::Last, "last"},
    {CalibrationStateMode::LastIncomplete, "lastIncomplete"},
    {CalibrationStateMode::Uuid, "uuid"},
}};

}  // namespace

std::string to_string(CalibrationStateMode mode) {
    for (const auto& [value, text] : kTexts) {
        if (value == mode) {
            return text;
        }
    }
    LUMO_THROW(std::runtime_error("Unexpected calibration mode"));
}

CalibrationStateMode from_string(const std::string& text) {
    for (const auto& [value, known] : kTexts) {
        if (text == known) {
            return value;
        }
    }
    LUMO_THROW(std::runtime_error("Invalid calibration mode " + text));
}

}  // namespace lumo::io::calibration
