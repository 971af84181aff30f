#include "calibration/calibration_constants_functional_tof.h"

#include <sstream>

// Coefficients of the mass models as values that can be compared, cloned and described; they convert nothing
// themselves.
namespace lumo::calibration {

template <class Derived, class Interface, std::size_t Count>
std::string CalibrationConstantsFunctionalTOF<Derived, Interface, Count>::ToString() const {
    std::ostringstream text;
    text << "[ " << Derived::kName << ":";
    for (std::size_t i = 0; i < Count; ++i) {
        text << (i == 0 ? " C" : ", C") << i << " = " << c[i];
    }
    text << " ]";
    return text.str();
}

ICalibrationConstantsFunctionalPtr createCalibrationConstantsFunctionalTOF1(double c0, double c1, double c2) {
    return std::make_shared<CalibrationConstantsFunctionalTOF1>(c0, c1, c2);
}

ICalibrationConstantsFunctionalPtr createCalibrationConstantsFunctionalTOF2(double c0, double c1, double c2,
                                                                            double c3, double c4) {
    return std::make_shared<CalibrationConstantsFunctionalTOF2>(c0, c1, c2, c3, c4);
}

}  // namespace lumo::calibration
