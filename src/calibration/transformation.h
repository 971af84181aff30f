#pragma once

#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "calibration/linear_voltage_ramp.h"

namespace lumo::calibration::kova {

// Converts between the three coordinates of a frame's mobility axis: the scan number (fractional), the
// voltage of the ramp at that scan, and 1/K0. Conversions never fail and clip nothing: beyond the ramp they
// give extrapolated values, and what cannot be divided gives infinity or NaN. They are const and may run in
// any number of threads; setters must not run at the same time. Held by unique ownership.
//
// The order of the virtual functions is fixed, and those of ILinearVoltageRampBasedTransformator follow
// directly: new ones go to its end or to an interface of their own.
class ITransformator {
public:
    ITransformator() = default;
    ITransformator(const ITransformator&) = delete;
    ITransformator& operator=(const ITransformator&) = delete;
    virtual ~ITransformator() = default;

    virtual std::string toString() const = 0;
    virtual double scanNumberToOneOverK0(double scanNumber) const = 0;
    virtual double scanNumberToVoltage(double scanNumber) const = 0;
    virtual double oneOverK0ToScanNumber(double oneOverK0) const = 0;
    virtual double voltageToScanNumber(double voltage) const = 0;
    virtual double voltageToOneOverK0(double voltage) const = 0;
    virtual double oneOverK0ToVoltage(double oneOverK0) const = 0;

    // The scans [begin, end): `out` is resized to their number. `end` < `begin` fails with
    // std::invalid_argument.
    virtual void scanNumberToOneOverK0(std::vector<double>& out, int begin, int end) const = 0;
    virtual void scanNumberToVoltage(std::vector<double>& out, int begin, int end) const = 0;

    // 1: 1/K0 linear in the scan number; 2: based on a linear voltage ramp.
    virtual int getStrategy() const = 0;
};

// The model of measured data: the voltage is linear in the scan number, and 1/K0 a rational function of its
// absolute value.
class ILinearVoltageRampBasedTransformator : public ITransformator {
public:
    virtual LinearVoltageRamp getVoltageRamp() const = 0;
    // The coefficients are not checked again.
    virtual void setVoltageRamp(const LinearVoltageRamp& ramp) = 0;
    // Number of scans by which the frame's scan axis is later than the ramp's.
    virtual double getTransitTime() const = 0;
    virtual void setTransitTime(double transitTime) = 0;

    // First and last scan of the ramp on the frame's scan axis, rounded outwards and held to the range of
    // int.
    virtual std::pair<int, int> getSignificantScanNumberRange() const = 0;

    virtual int getPolynomialDegree() const = 0;
    // {c0, c1, vmin, vmax}: 1/K0 = 1 / (c1 / u + c0) for vmin <= u <= vmax, continued by straight lines
    // outside.
    virtual std::vector<double> getCoefficients() const = 0;
    // Coefficients that cannot be used fail with std::invalid_argument.
    virtual void setCoefficients(const std::vector<double>& coefficients) = 0;
};

// The single-value operations on arrays of equal length. Each value is written right after its input was
// read, so arrays may overlap. Single values and arrays give the same bits. Arrays are converted on the
// calling thread: a frame has about a thousand scans, which are not worth waking another one. Every
// transformator made below has this interface beside its own; dynamic_cast finds it.
class IArrayTransformator {
public:
    IArrayTransformator() = default;
    IArrayTransformator(const IArrayTransformator&) = delete;
    IArrayTransformator& operator=(const IArrayTransformator&) = delete;

    virtual void scanNumbersToOneOverK0s(std::span<const double> in, std::span<double> out) const = 0;
    virtual void scanNumbersToVoltages(std::span<const double> in, std::span<double> out) const = 0;
    virtual void oneOverK0sToScanNumbers(std::span<const double> in, std::span<double> out) const = 0;
    virtual void voltagesToScanNumbers(std::span<const double> in, std::span<double> out) const = 0;

    // Whether both convert alike: same model and constants, compared exactly.
    virtual bool convertsAs(const ITransformator& other) const = 0;

protected:
    ~IArrayTransformator() = default;
};

// 1/K0 = a + b * scan number, voltage = 42 / K0: for callers that have no ramp.
std::unique_ptr<ITransformator> makeScanNumberLinearTransformator(double a, double b);

std::unique_ptr<ILinearVoltageRampBasedTransformator> makeLvrTransformator(
    const LinearVoltageRamp& ramp, double transitTime, const std::vector<double>& coefficients);
std::unique_ptr<ILinearVoltageRampBasedTransformator> makeLvrTransformatorDummyRamp(
    const std::vector<double>& coefficients, Polarity polarity);
std::unique_ptr<ILinearVoltageRampBasedTransformator> makeLvrTransformatorLinear(
    const LinearVoltageRamp& ramp, double transitTime, double c0, double c1, double vmin, double vmax);

}  // namespace lumo::calibration::kova
