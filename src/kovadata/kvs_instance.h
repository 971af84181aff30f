#pragma once

#include <cstdint>
#include <span>

#include "kova-data-reader/kvs_reader.h"
#include "kovadata/instance_base.h"
#include "kovadata/interface_family.h"
#include "kovadata/mass_conversion.h"

namespace lumo::io {

// Where a line spectrum goes: arrays of `length` values each; widths are null unless asked for.
struct LineSpectrumOutput {
    double* positions;
    float* intensities;
    float* widths;
    std::uint32_t length;
};

// What a kvs_* handle points to. Deliberate: unlike the other family it keeps no mass transformator.
class KvsInstance : public InstanceBase<KvsInterface, kova::KvsReader> {
public:
    using InstanceBase::InstanceBase;

    // Number of values that the result needs per array; they are copied only when they fit.
    std::uint32_t readLineSpectrum(std::int64_t spectrumId, const LineSpectrumOutput& output,
                                   kova::LineWidths widths);
    std::uint32_t readProfileSpectrum(std::int64_t spectrumId, std::span<std::uint32_t> intensities);

    // Fractional index to m/z and back; the arrays may overlap. Nothing is looked at when they are empty. A
    // failure leaves the output as it was.
    void mzConversionFunc(std::int64_t spectrumId, std::span<const double> in, std::span<double> out,
                          MassConversion conversion);
};

}  // namespace lumo::io
