#include "calibration/raw_mass_cubic.h"

#include <stdexcept>

#include "calibration/square_root.h"
#include "diag/throw.h"

namespace lumo::calibration {

template <class Model>
void RMShift<Model>::UpdateFunctionalConstants(const ICalibrationConstantsFunctionalPtr& constants) {
    const auto tof2 = std::dynamic_pointer_cast<ICalibrationConstantsFunctionalTOF2>(constants);
    if (!tof2) {
        LUMO_THROW(
            std::invalid_argument("RMShift::UpdateFunctionalConstants: funConsts is not of type "
                                  "ICalibrationConstantsFunctionalTOF2Ptr."));
    }
    dm = tof2->GetDM();
    model.UpdateFunctionalConstants(*tof2);
}

template void RMShift<RMCubic<SquareRoot>>::UpdateFunctionalConstants(
    const ICalibrationConstantsFunctionalPtr&);

}  // namespace lumo::calibration
