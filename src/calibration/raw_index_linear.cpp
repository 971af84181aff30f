#include "calibration/raw_index_linear.h"

#include <stdexcept>

#include "diag/throw.h"

namespace lumo::calibration {

void RILinear::UpdatePhysicalConstants(const ICalibrationConstantsPhysicalPtr& constants) {
    const auto linear = std::dynamic_pointer_cast<ICalibrationConstantsPhysicalLinear>(constants);
    if (!linear) {
        LUMO_THROW(
            std::invalid_argument("RILinear::UpdatePhysicalConstants: funConsts is not of type "
                                  "ICalibrationConstantsPhysicalLinearPtr."));
    }
    timeDelay = linear->GetTimeDelay();
    timeBase = linear->GetTimeBase();
}

}  // namespace lumo::calibration
