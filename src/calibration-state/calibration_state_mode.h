#pragma once

#include <string>

namespace lumo::io::calibration {

// Which of the calibration states of an analysis is to be used.
enum class CalibrationStateMode : int {
    Off = 0,             // none: the calibration of the acquisition
    First = 1,           // oldest complete state, optionally of one source
    Last = 2,            // newest complete state, optionally of one source
    LastIncomplete = 3,  // newest state of a source, complete or not
    Uuid = 4,            // the state with a key
};

// "off", "first", "last", "lastIncomplete", "uuid". Anything else fails with std::runtime_error.
std::string to_string(CalibrationStateMode mode);
CalibrationStateMode from_string(const std::string& text);

}  // namespace lumo::io::calibration
