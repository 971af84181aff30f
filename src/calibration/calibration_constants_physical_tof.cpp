#include "calibration/calibration_constants_physical_tof.h"

#include <sstream>

// How indices become times: a delay and a step.
namespace lumo::calibration {

bool CalibrationConstantsPhysicalTOF::Equals(const ICalibrationConstantsPhysical& other) const {
    const auto* const same = dynamic_cast<const CalibrationConstantsPhysicalTOF*>(&other);
    return same != nullptr && timeDelay == same->timeDelay && timeBase == same->timeBase;
}

std::string CalibrationConstantsPhysicalTOF::ToString() const {
    std::ostringstream text;
    text << "[ CalibrationConstantsPhysicalTOF: delay = " << timeDelay << ", timebase = " << timeBase << " ]";
    return text.str();
}

ICalibrationConstantsPhysicalPtr createCalibrationConstantsPhysicalTOF(double delay, double timebase) {
    return std::make_shared<CalibrationConstantsPhysicalTOF>(delay, timebase);
}

}  // namespace lumo::calibration
