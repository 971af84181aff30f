#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "calibration/batch_transformation.h"
#include "calibration/i_calibration_transformator.h"
#include "diag/throw.h"

namespace lumo::calibration {

// A mass transformator made of
// - Policy: the model's name `kName` and strategy id `kStrategyId`,
// - RawMassModel: MassToRaw(m), RawToMass(t, failed), AlwaysSolvable, UpdateFunctionalConstants,
//   MonotonicRange, CentreOfUsableRange, SameCorrection, DescribeCorrection,
// - RawIndexModel: IndexToRaw(i), RawToIndex(t), UpdatePhysicalConstants and the index offset.
// The models are plain values, and the loops of the vector operations are compiled for them: no call per
// element.
//
// An index becomes a mass in two steps, by way of the raw time:
//     index --RawIndexModel--> raw time --RawMassModel--> mass.
// Each step can be inverted, and each public conversion is one of the kernels below, or two of them in one
// loop, so that the raw time is never written to memory.
template <class Policy, class RawMassModel, class RawIndexModel>
class Transformator final : public ICalibrationTransformator {
    using Doubles = std::vector<double>;

public:
    Transformator(ICalibrationConstantsPhysicalPtr physical,
                  const ICalibrationConstantsFunctionalPtr& functional, RawMassModel model = {})
        : massModel(std::move(model)) {
        SetKeptPhysicalConstants(std::move(physical));
        SetKeptFunctionalConstants(functional);
    }

    int GetStrategyID() const override { return Policy::kStrategyId; }
    double GetIndexOffset() const override { return indexModel.GetIndexOffset(); }
    ICalibrationConstantsFunctionalPtr GetFunctionalConstants() const override { return functionalConstants; }
    void SetFunctionalConstants(ICalibrationConstantsFunctionalPtr constants) override {
        SetKeptFunctionalConstants(constants);
    }
    ICalibrationConstantsPhysicalPtr GetPhysicalConstants() const override { return physicalConstants; }
    void SetPhysicalConstants(ICalibrationConstantsPhysicalPtr constants) override {
        SetKeptPhysicalConstants(std::move(constants));
    }
    IMeasurementModeInfoPtr GetMeasurementModeInfo() const override { return measurementModeInfo; }
    void SetMeasurementModeInfo(IMeasurementModeInfoPtr info) override {
        measurementModeInfo = std::move(info);
    }
    int GetCalibMode() const override { return calibMode; }
    void SetCalibMode(int const& mode) override { calibMode = mode; }
    // Correction, constants and offset decide; a transformator of another model never equals this one.
    bool Equals(ICalibrationTransformatorPtr other) const override;

    void SetIndexOffset(double offset) override { indexModel.SetIndexOffset(offset); }
    void AssimilateIndexOffset() override {
        indexModel.AssimilateIndexOffset();
        AdoptIndexModel();
    }
    void AdaptRawIndexTransform(double factor, double shift) override {
        indexModel.Adapt(factor, shift);
        AdoptIndexModel();
    }

    double MassToRaw(double mass) const override { return Single(MassToRawKernel(), mass); }
    void MassToRaw(Doubles const& masses, Doubles& raws) const override {
        Batch(MassToRawKernel(), masses, raws);
    }
    void MassToRaw(Doubles& values) const override { Batch(MassToRawKernel(), values, values); }
    double RawToMass(double raw) const override { return Single(RawToMassKernel(), raw); }
    void RawToMass(Doubles const& raws, Doubles& masses) const override {
        Batch(RawToMassKernel(), raws, masses);
    }
    void RawToMass(Doubles& values) const override { Batch(RawToMassKernel(), values, values); }

    int MassToIndex(double mass) const override { return NearestIndex(MassToDIndex(mass)); }
    void MassToIndex(Doubles const& masses, std::vector<int>& indices) const override {
        Batch(Rounded(MassToDIndexKernel()), masses, indices);
    }
    double MassToDIndex(double mass) const override { return Single(MassToDIndexKernel(), mass); }
    void MassToDIndex(Doubles const& masses, Doubles& indices) const override {
        Batch(MassToDIndexKernel(), masses, indices);
    }
    void MassToDIndex(Doubles& values) const override { Batch(MassToDIndexKernel(), values, values); }
    double DIndexToMass(double index) const override { return Single(DIndexToMassKernel(), index); }
    void DIndexToMass(Doubles const& indices, Doubles& masses) const override {
        Batch(DIndexToMassKernel(), indices, masses);
    }
    void DIndexToMass(Doubles& values) const override { Batch(DIndexToMassKernel(), values, values); }
    double IndexToMass(int index) const override { return DIndexToMass(index); }
    void IndexToMass(std::vector<int> const& indices, Doubles& masses) const override {
        Batch(DIndexToMassKernel(), indices, masses);
    }
    void IndexToMass(int begin, int end, Doubles& masses) const override;

    double IndexWidthToMass(double index, double width) const override {
        return DIndexToMass(index + width / 2.0) - DIndexToMass(index - width / 2.0);
    }
    double MassWidthToIndex(double mass, double width) const override {
        return MassToDIndex(mass + width / 2.0) - MassToDIndex(mass - width / 2.0);
    }

    double IndexToRaw(int index) const override { return DIndexToRaw(index); }
    void IndexToRaw(std::vector<int> const& indices, Doubles& raws) const override {
        Batch(DIndexToRawKernel(), indices, raws);
    }
    double DIndexToRaw(double index) const override { return Single(DIndexToRawKernel(), index); }
    void DIndexToRaw(Doubles const& indices, Doubles& raws) const override {
        Batch(DIndexToRawKernel(), indices, raws);
    }
    void DIndexToRaw(Doubles& values) const override { Batch(DIndexToRawKernel(), values, values); }
    int RawToIndex(double raw) const override { return NearestIndex(RawToDIndex(raw)); }
    void RawToIndex(Doubles const& raws, std::vector<int>& indices) const override {
        Batch(Rounded(RawToDIndexKernel()), raws, indices);
    }
    double RawToDIndex(double raw) const override { return Single(RawToDIndexKernel(), raw); }
    void RawToDIndex(Doubles const& raws, Doubles& indices) const override {
        Batch(RawToDIndexKernel(), raws, indices);
    }
    void RawToDIndex(Doubles& values) const override { Batch(RawToDIndexKernel(), values, values); }

    std::pair<double, double> monotonicMassRange(double mass) const override {
        return massModel.MonotonicRange(mass);
    }
    // What the inverse answers from lies around the model's centre, and only there a mass comes back from its
    // raw time.
    std::pair<double, double> usableMassRange(double low, double high) const override {
        const auto [first, last] = massModel.MonotonicRange(massModel.CentreOfUsableRange());
        return {Clamped(low, first, last), Clamped(high, first, last)};
    }
    std::string ToString() const override;

    ICalibrationTransformatorPtr Clone() const override {
        auto clone = std::make_shared<Transformator>(*this);
        clone->functionalConstants = functionalConstants->Clone();
        return clone;
    }

    void MassToDIndex(std::span<const double> masses, std::span<double> indices) const override {
        BatchTransformation::transform(masses, indices, MassToDIndexKernel());
    }
    void DIndexToMass(std::span<const double> indices, std::span<double> masses) const override {
        BatchTransformation::transform(indices, masses, DIndexToMassKernel());
    }
    bool DIndexToMassFails(std::span<const double> indices) const override;
    void DIndexToMassOnThisThread(std::span<const double> indices, std::span<double> masses) const override {
        BatchTransformation::transform(indices, masses, DIndexToMassKernel(), Workers::None);
    }
    void IndexToMassOnThisThread(std::span<const std::uint32_t> indices,
                                 std::span<double> masses) const override {
        BatchTransformation::transform(indices, masses, DIndexToMassKernel(), Workers::None);
    }

private:
    // The conversions of one value, which Single() and Batch() run.
    //
    // Kernels hold copies of the models: values that nothing else can change, so the compiler keeps them in
    // registers.
    auto MassToRawKernel() const {
        return [mass = massModel](double m, FailureMask&) { return mass.MassToRaw(m); };
    }
    auto RawToMassKernel() const {
        return [mass = massModel](double t, FailureMask& failed) { return mass.RawToMass(t, failed); };
    }
    auto MassToDIndexKernel() const {
        return [mass = massModel, index = indexModel](double m, FailureMask&) {
            return index.RawToIndex(mass.MassToRaw(m));
        };
    }
    auto DIndexToMassKernel() const {
        return [mass = massModel, index = indexModel](double i, FailureMask& failed) {
            return mass.RawToMass(index.IndexToRaw(i), failed);
        };
    }
    auto DIndexToRawKernel() const {
        return [index = indexModel](double i, FailureMask&) { return index.IndexToRaw(i); };
    }
    auto RawToDIndexKernel() const {
        return [index = indexModel](double t, FailureMask&) { return index.RawToIndex(t); };
    }
    template <class Kernel>
    static auto Rounded(const Kernel& kernel) {
        return [kernel](double x, FailureMask& failed) { return NearestIndex(kernel(x, failed)); };
    }

    template <class Kernel>
    static double Single(const Kernel& kernel, double x) {
        FailureMask failed = 0;
        const double result = kernel(x, failed);
        if (failed != 0) {
            raiseComplexSolution();
        }
        return result;
    }

    // Grows the output first: input and output may be the same vector, whose size stays.
    template <class Kernel, class In, class Out>
    static void Batch(const Kernel& kernel, const std::vector<In>& in, std::vector<Out>& out) {
        out.resize(in.size());
        BatchTransformation::transform(std::span<const In>(in), std::span<Out>(out), kernel);
    }

    // Halves go upwards. The range is tested before the conversion to int, which is undefined outside of it.
    static int NearestIndex(double index) {
        constexpr double lowest = std::numeric_limits<int>::min();
        constexpr double highest = std::numeric_limits<int>::max();
        if (std::isnan(index)) {
            return 0;
        }
        return static_cast<int>(Clamped(std::floor(index + 0.5), lowest, highest));
    }
    static double Clamped(double x, double low, double high) { return x < low ? low : x > high ? high : x; }

    // Models are changed as copies, so constants that are refused leave everything as it was. A clone of the
    // constants is kept: whoever passed them may change them later.
    void SetKeptFunctionalConstants(const ICalibrationConstantsFunctionalPtr& constants) {
        RawMassModel updated = massModel;
        updated.UpdateFunctionalConstants(constants);
        functionalConstants = constants->Clone();
        massModel = std::move(updated);
    }
    void SetKeptPhysicalConstants(ICalibrationConstantsPhysicalPtr constants) {
        indexModel.UpdatePhysicalConstants(constants);
        physicalConstants = std::move(constants);
    }
    // The constants that callers can ask for must be those that convert.
    void AdoptIndexModel() {
        physicalConstants =
            createCalibrationConstantsPhysicalTOF(indexModel.GetTimeDelay(), indexModel.GetTimeBase());
    }

    RawMassModel massModel;
    RawIndexModel indexModel;
    ICalibrationConstantsFunctionalPtr functionalConstants;
    ICalibrationConstantsPhysicalPtr physicalConstants;
    IMeasurementModeInfoPtr measurementModeInfo;
    int calibMode = 0;
};

template <class Policy, class RawMassModel, class RawIndexModel>
bool Transformator<Policy, RawMassModel, RawIndexModel>::DIndexToMassFails(
    std::span<const double> indices) const {
    if (massModel.AlwaysSolvable()) {
        return false;
    }
    const auto kernel = DIndexToMassKernel();
    FailureMask failed = 0;
#pragma omp simd reduction(+ : failed)
    for (std::size_t i = 0; i < indices.size(); ++i) {
        FailureMask elementFailed = 0;
        kernel(indices[i], elementFailed);  // the compiler leaves out what only the result needs
        failed += elementFailed;
    }
    return failed != 0;
}

template <class Policy, class RawMassModel, class RawIndexModel>
bool Transformator<Policy, RawMassModel, RawIndexModel>::Equals(ICalibrationTransformatorPtr other) const {
    const auto* const same = dynamic_cast<const Transformator*>(other.get());
    return same != nullptr && GetIndexOffset() == same->GetIndexOffset() &&
           massModel.SameCorrection(same->massModel) && physicalConstants->Equals(*same->physicalConstants) &&
           functionalConstants->Equals(*same->functionalConstants);
}

template <class Policy, class RawMassModel, class RawIndexModel>
void Transformator<Policy, RawMassModel, RawIndexModel>::IndexToMass(int begin, int end,
                                                                     Doubles& masses) const {
    if (end < begin) {
        LUMO_THROW(std::invalid_argument("end must be >= begin."));
    }
    masses.resize(static_cast<std::size_t>(std::int64_t{end} - begin));
    for (std::size_t i = 0; i < masses.size(); ++i) {
        masses[i] = static_cast<double>(begin) + static_cast<double>(i);
    }
    DIndexToMass(masses);
}

template <class Policy, class RawMassModel, class RawIndexModel>
std::string Transformator<Policy, RawMassModel, RawIndexModel>::ToString() const {
    std::ostringstream text;
    text << "[ " << Policy::kName << ": index offset = " << GetIndexOffset() << ", "
         << physicalConstants->ToString() << ", " << functionalConstants->ToString()
         << massModel.DescribeCorrection() << " ]";
    return text.str();
}

}  // namespace lumo::calibration
