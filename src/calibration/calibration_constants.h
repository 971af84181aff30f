#pragma once

#include <memory>
#include <string>

namespace lumo::calibration {

// The constants of mass calibrations. Physical ones belong to the digitizer and turn an index into a raw
// time; functional ones belong to the instrument's flight path and turn the raw time into a mass. A row of a
// calibration table gives both; temperatures change functional ones only. Raw times are in the unit of the
// digitizer's delay and time base.

// Constants of the digitizer. Immutable, shared between transformators.
class ICalibrationConstantsPhysical {
public:
    virtual ~ICalibrationConstantsPhysical() = default;

    virtual bool Equals(const ICalibrationConstantsPhysical& other) const = 0;
    virtual std::string ToString() const = 0;
};

using ICalibrationConstantsPhysicalPtr = std::shared_ptr<ICalibrationConstantsPhysical>;

// Raw time as a linear function of the index.
class ICalibrationConstantsPhysicalLinear : public ICalibrationConstantsPhysical {
public:
    virtual double GetTimeDelay() const = 0;  // raw time at index 0
    virtual double GetTimeBase() const = 0;   // raw time per index step
    virtual double GetA0() const = 0;         // the time delay
    virtual double GetA1() const = 0;         // the time base
};

using ICalibrationConstantsPhysicalLinearPtr = std::shared_ptr<ICalibrationConstantsPhysicalLinear>;

// Coefficients of a mass calibration.
class ICalibrationConstantsFunctional {
public:
    virtual ~ICalibrationConstantsFunctional() = default;

    virtual std::shared_ptr<ICalibrationConstantsFunctional> Clone() const = 0;

    // Same model and exactly the same coefficients; temperatures do not count.
    virtual bool Equals(const ICalibrationConstantsFunctional& other) const = 0;
    virtual std::string ToString() const = 0;
};

using ICalibrationConstantsFunctionalPtr = std::shared_ptr<ICalibrationConstantsFunctional>;

// What both time-of-flight models read: flight time = A0 + sqrt(A1 * m) + A2 * m + ...
class ICalibrationConstantsFunctionalTOF : public ICalibrationConstantsFunctional {
public:
    virtual double GetA0() const = 0;
    virtual double GetA1() const = 0;
    virtual double GetA2() const = 0;

    // Deliberate: 1e12 / (C1 * C1), which is not the square of GetA1().
    virtual double GetA1Square() const = 0;
    virtual double GetTilt() const = 0;
};

using ICalibrationConstantsFunctionalTOFPtr = std::shared_ptr<ICalibrationConstantsFunctionalTOF>;

// Coefficients of the quadratic model.
class ICalibrationConstantsFunctionalTOF1 : public ICalibrationConstantsFunctionalTOF {};

using ICalibrationConstantsFunctionalTOF1Ptr = std::shared_ptr<ICalibrationConstantsFunctionalTOF1>;

// Coefficients of the cubic model.
class ICalibrationConstantsFunctionalTOF2 : public ICalibrationConstantsFunctionalTOF {
public:
    virtual double GetA3() const = 0;
    virtual double GetDM() const = 0;  // shift between m/z and the model's mass
};

using ICalibrationConstantsFunctionalTOF2Ptr = std::shared_ptr<ICalibrationConstantsFunctionalTOF2>;

// Between the coefficient C1 of a calibration row and A1 of the models; both directions are the same
// function.
class CalibrationTOFUtilities {
public:
    static double TransformC1ToTOFA1(double c1) { return 1e12 / c1; }
    static double TransformA1ToTOFC1(double a1) { return 1e12 / a1; }
};

ICalibrationConstantsPhysicalPtr createCalibrationConstantsPhysicalTOF(double delay, double timebase);

// The functional constants also implement ICalibrationConstantsFunctionalTemperatureCompensation.
ICalibrationConstantsFunctionalPtr createCalibrationConstantsFunctionalTOF1(double c0, double c1, double c2);
ICalibrationConstantsFunctionalPtr createCalibrationConstantsFunctionalTOF2(double c0, double c1, double c2,
                                                                            double c3, double c4);

}  // namespace lumo::calibration
