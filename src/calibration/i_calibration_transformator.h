#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "calibration/calibration_constants.h"
#include "calibration/measurement_mode_info.h"

namespace lumo::calibration {

class ICalibrationTransformator;
using ICalibrationTransformatorPtr = std::shared_ptr<ICalibrationTransformator>;

// Converts between the index of a digitizer sample, the raw flight time and m/z in Th. "DIndex" is a
// fractional index, "Index" a whole one: the nearest to the fractional index (halves upwards), held to the
// range of int, 0 for NaN. Whoever builds a transformator may set it up; from then on it is not modified, and
// conversions, which are const, may run in any number of threads.
//
// Vector operations resize the output to the input's length; the output may be the input. Long arrays are
// shared among worker threads, unless the caller is in a parallel region already. A conversion that has no
// real solution raises std::logic_error or, from 100 elements on outside of a parallel region,
// std::runtime_error; the output may then be partly written.
//
// The order of the virtual functions is fixed; new ones go to the end.
class ICalibrationTransformator {
public:
    virtual ~ICalibrationTransformator() = default;

    virtual int GetStrategyID() const = 0;
    virtual double GetIndexOffset() const = 0;
    virtual ICalibrationConstantsFunctionalPtr GetFunctionalConstants() const = 0;
    // Keeps a clone. Constants of a type that the model does not read fail with std::invalid_argument.
    virtual void SetFunctionalConstants(std::shared_ptr<ICalibrationConstantsFunctional> constants) = 0;
    virtual ICalibrationConstantsPhysicalPtr GetPhysicalConstants() const = 0;
    virtual void SetPhysicalConstants(std::shared_ptr<ICalibrationConstantsPhysical> constants) = 0;
    virtual IMeasurementModeInfoPtr GetMeasurementModeInfo() const = 0;
    virtual void SetMeasurementModeInfo(std::shared_ptr<IMeasurementModeInfo> info) = 0;
    virtual int GetCalibMode() const = 0;
    virtual void SetCalibMode(int const& mode) = 0;

    // Whether both convert alike: same model, index offset and constants, compared exactly. Measurement mode,
    // calibration mode and temperatures do not count.
    virtual bool Equals(std::shared_ptr<ICalibrationTransformator> other) const = 0;

    // A number added to every index before conversion; 0 in a new transformator.
    virtual void SetIndexOffset(double offset) = 0;
    // Folds the index offset into the physical constants and sets it to 0; conversions stay the same up to
    // rounding.
    virtual void AssimilateIndexOffset() = 0;
    // Stretches and shifts the raw time scale: afterwards an index has its old raw time * `factor` + `shift`.
    virtual void AdaptRawIndexTransform(double factor, double shift) = 0;

    virtual double MassToRaw(double mass) const = 0;
    virtual void MassToRaw(std::vector<double> const& masses, std::vector<double>& raws) const = 0;
    virtual void MassToRaw(std::vector<double>& values) const = 0;
    virtual double RawToMass(double raw) const = 0;
    virtual void RawToMass(std::vector<double> const& raws, std::vector<double>& masses) const = 0;
    virtual void RawToMass(std::vector<double>& values) const = 0;

    virtual int MassToIndex(double mass) const = 0;
    virtual void MassToIndex(std::vector<double> const& masses, std::vector<int>& indices) const = 0;
    virtual double MassToDIndex(double mass) const = 0;
    virtual void MassToDIndex(std::vector<double> const& masses, std::vector<double>& indices) const = 0;
    virtual void MassToDIndex(std::vector<double>& values) const = 0;
    virtual double DIndexToMass(double index) const = 0;
    virtual void DIndexToMass(std::vector<double> const& indices, std::vector<double>& masses) const = 0;
    virtual void DIndexToMass(std::vector<double>& values) const = 0;
    virtual double IndexToMass(int index) const = 0;
    virtual void IndexToMass(std::vector<int> const& indices, std::vector<double>& masses) const = 0;
    // All indices from `begin` up to, but not including, `end`; `end` < `begin` fails with
    // std::invalid_argument.
    virtual void IndexToMass(int begin, int end, std::vector<double>& masses) const = 0;

    // Width in m/z of an index interval, given by its centre and width, and the reverse.
    virtual double IndexWidthToMass(double index, double width) const = 0;
    virtual double MassWidthToIndex(double mass, double width) const = 0;

    virtual double IndexToRaw(int index) const = 0;
    virtual void IndexToRaw(std::vector<int> const& indices, std::vector<double>& raws) const = 0;
    virtual double DIndexToRaw(double index) const = 0;
    virtual void DIndexToRaw(std::vector<double> const& indices, std::vector<double>& raws) const = 0;
    virtual void DIndexToRaw(std::vector<double>& values) const = 0;
    virtual int RawToIndex(double raw) const = 0;
    virtual void RawToIndex(std::vector<double> const& raws, std::vector<int>& indices) const = 0;
    virtual double RawToDIndex(double raw) const = 0;
    virtual void RawToDIndex(std::vector<double> const& raws, std::vector<double>& indices) const = 0;
    virtual void RawToDIndex(std::vector<double>& values) const = 0;

    // The largest interval around `mass` in which the raw time runs in one direction (ends may be infinite).
    virtual std::pair<double, double> monotonicMassRange(double mass) const = 0;
    // [low, high] cut to the masses that convert to a raw time and back; one point when none of them does.
    virtual std::pair<double, double> usableMassRange(double low, double high) const = 0;
    virtual std::string ToString() const = 0;

    // An independent copy, functional constants included.
    virtual ICalibrationTransformatorPtr Clone() const = 0;

    // As the vector operations, on arrays of equal length; both may be the same array, other overlaps are not
    // allowed.
    virtual void MassToDIndex(std::span<const double> masses, std::span<double> indices) const = 0;
    virtual void DIndexToMass(std::span<const double> indices, std::span<double> masses) const = 0;

    // Whether the conversion of these indices fails because one of them has no real solution. With constants
    // that leave none without, which is the rule, no index is looked at.
    virtual bool DIndexToMassFails(std::span<const double> indices) const = 0;

    // On the calling thread, whatever the number of values; a failure reads as that of DIndexToMass().
    virtual void DIndexToMassOnThisThread(std::span<const double> indices,
                                          std::span<double> masses) const = 0;
    virtual void IndexToMassOnThisThread(std::span<const std::uint32_t> indices,
                                         std::span<double> masses) const = 0;
};

}  // namespace lumo::calibration
