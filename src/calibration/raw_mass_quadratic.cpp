#include "calibration/raw_mass_quadratic.h"

#include <stdexcept>

#include "calibration/square_root.h"
#include "diag/throw.h"

namespace lumo::calibration {

template <class Root>
void RMQuadratic<Root>::UpdateFunctionalConstants(const ICalibrationConstantsFunctionalPtr& constants) {
    const auto tof1 = std::dynamic_pointer_cast<ICalibrationConstantsFunctionalTOF1>(constants);
    if (!tof1) {
        LUMO_THROW(
            std::invalid_argument("RMQuadratic::UpdateFunctionalConstants: funConsts is not of type "
                                  "ICalibrationConstantsFunctionalTOF1Ptr."));
    }
    this->Update(*tof1);
}

template void RMQuadratic<SquareRoot>::UpdateFunctionalConstants(const ICalibrationConstantsFunctionalPtr&);

}  // namespace lumo::calibration
