#pragma once

#include <string>

namespace lumo::io::calibration {

// Which of the calibration states of an analysis is used. The numbers are part of the C interface
// (kvr_calibration).
enum class CalibrationStateMode : int {
    Off = 0,             // none: the calibration of the acquisition
    First = 1,           // oldest complete state, optionally of one source
    Last = 2,            // newest complete state, optionally of one source
    LastIncomplete = 3,  // newest state of a source, complete or not
    Uuid = 4,            // the state with a key
};

// The texts "off", "first", "last", "lastIncomplete" and "uuid". Any other mode or text raises
// std::runtime_error.
std::string to_string(CalibrationStateMode mode);
CalibrationStateMode from_string(const std::string& text);

}  // namespace lumo::io::calibration
