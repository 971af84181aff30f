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

// What a kvs_* handle points to: a reader of an analysis without mobility. For one thread at a time.
// Deliberate: unlike the other family it keeps no mass transformator.
class KvsInstance : public InstanceBase<KvsInterface, kova::KvsReader> {
public:
    using InstanceBase::InstanceBase;

    // Returns the number of values per array that the result needs, and copies them if they fit; else the
    // arrays stay as they were.
    std::uint32_t readLineSpectrum(std::int64_t spectrumId, const LineSpectrumOutput& output,
                                   kova::LineWidths widths);
    std::uint32_t readProfileSpectrum(std::int64_t spectrumId, std::span<std::uint32_t> intensities);

    // Converts indices, which may be fractional, to m/z or back. The arrays have one length and may overlap.
    // Empty arrays succeed for any spectrum. A failure leaves the output as it was.
    void mzConversionFunc(std::int64_t spectrumId, std::span<const double> in, std::span<double> out,
                          MassConversion conversion);
};

}  // namespace lumo::io
