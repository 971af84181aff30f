#pragma once

#include <array>

#include "calibration/calibration_constants.h"
#include "calibration/temperature_compensation.h"

namespace lumo::calibration {

// Coefficients C0, C1, C2, ... of a calibration row, stored unchanged, with the temperatures that go with
// them. A1 is derived at each call rather than stored, so that a scaled C1 cannot disagree with it.
// `Interface` is the model's interface, `Derived` the concrete class that is cloned.
template <class Derived, class Interface, std::size_t Count>
class CalibrationConstantsFunctionalTOF : public Interface,
                                          public ICalibrationConstantsFunctionalTemperatureCompensation {
public:
    double GetA0() const override { return c[0]; }
    double GetA1() const override { return CalibrationTOFUtilities::TransformC1ToTOFA1(c[1]); }
    double GetA2() const override { return c[2]; }
    double GetA1Square() const override { return 1e12 / (c[1] * c[1]); }
    double GetTilt() const override { return 0.0; }

    ICalibrationConstantsFunctionalPtr Clone() const override { return std::make_shared<Derived>(self()); }
    bool Equals(const ICalibrationConstantsFunctional& other) const override {
        const auto* const same = dynamic_cast<const Derived*>(&other);
        return same != nullptr && c == same->c;
    }
    std::string ToString() const override;

    std::optional<TemperatureCompensationInfo> GetTemperatureCompensationInfo() const override {
        return info;
    }
    void SetTemperatureCompensationInfo(const TemperatureCompensationInfo& value) override { info = value; }
    Temperatures GetMeasuredTemperatures() const override { return measured; }
    int GetTemperatureCompensationMode() const override { return mode; }
    void SetMeasuredTemperatures(const Temperatures& temperatures, int compensationMode) override {
        measured = temperatures;
        mode = compensationMode;
    }
    // The one way in which temperatures enter a conversion, on a copy: frames at other temperatures share the
    // original.
    ICalibrationConstantsFunctionalPtr CloneWithScaledC1(double factor) const override {
        auto clone = std::make_shared<Derived>(self());
        clone->c[1] *= factor;
        return clone;
    }

protected:
    explicit CalibrationConstantsFunctionalTOF(const std::array<double, Count>& coefficients)
        : c(coefficients) {}

    std::array<double, Count> c;

private:
    const Derived& self() const { return static_cast<const Derived&>(*this); }

    std::optional<TemperatureCompensationInfo> info;
    Temperatures measured;
    int mode = 0;
};

// The quadratic model reads three coefficients.
class CalibrationConstantsFunctionalTOF1 final
    : public CalibrationConstantsFunctionalTOF<CalibrationConstantsFunctionalTOF1,
                                               ICalibrationConstantsFunctionalTOF1, 3> {
public:
    static constexpr const char* kName = "CalibrationConstantsFunctionalTOF1";

    CalibrationConstantsFunctionalTOF1(double c0, double c1, double c2)
        : CalibrationConstantsFunctionalTOF({c0, c1, c2}) {}
};

// The cubic model reads two more: that of the cubic term, and the shift of the mass axis.
class CalibrationConstantsFunctionalTOF2 final
    : public CalibrationConstantsFunctionalTOF<CalibrationConstantsFunctionalTOF2,
                                               ICalibrationConstantsFunctionalTOF2, 5> {
public:
    static constexpr const char* kName = "CalibrationConstantsFunctionalTOF2";

    CalibrationConstantsFunctionalTOF2(double c0, double c1, double c2, double c3, double c4)
        : CalibrationConstantsFunctionalTOF({c0, c1, c2, c3, c4}) {}

    double GetA3() const override { return c[3]; }
    double GetDM() const override { return c[4]; }
};

}  // namespace lumo::calibration
