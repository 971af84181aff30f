#pragma once

#include <string>

namespace kova_tool {

// Which calibration converts indices and scans: the acquisition's if nothing else is chosen.
struct CalibrationChoice {
    bool newest = false;  // the newest complete re-calibrated state, if there is one
    std::string state;    // a state by mode, such as "last:SOURCE" or "uuid:KEY"; goes before `newest`

    bool isAcquisition() const { return !newest && state.empty(); }
};

}  // namespace kova_tool
