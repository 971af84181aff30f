#include "kovadata/mass_conversion.h"

#include <stdexcept>

#include "diag/throw.h"

namespace lumo::io {

void convertMasses(const ::lumo::calibration::ICalibrationTransformatorPtr& mzTrafo,
                   std::span<const double> in, std::span<double> out, MzConversion method) {
    if (!mzTrafo) {
        LUMO_THROW(std::runtime_error("No m/z trafo available."));
    }
    ((*mzTrafo).*method)(in, out);
}

}  // namespace lumo::io
