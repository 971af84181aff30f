#include "kovadata/kvs_instance.h"

#include <limits>
#include <span>
#include <stdexcept>

#include "diag/throw.h"
#include "sys/little_endian.h"

// Spectra are copied to the caller's arrays only if they fit as a whole. The size that is needed is returned
// in any case, so a caller can ask with a length of 0 first.
namespace lumo::io {

namespace {

// The C interface returns sizes in 32 bits.
std::uint32_t checkedCount(std::size_t count) {
    if (count > std::numeric_limits<std::uint32_t>::max()) {
        LUMO_THROW(std::runtime_error("Maximum decompressed spectrum size exceeded."));
    }
    return static_cast<std::uint32_t>(count);
}

}  // namespace

std::uint32_t KvsInstance::readLineSpectrum(std::int64_t spectrumId, const LineSpectrumOutput& output,
                                            kova::LineWidths widths) {
    const kova::LineSpectrumView view = reader.viewLineSpectrum(spectrumId, widths);
    const std::uint32_t count = checkedCount(view.peaks);
    // Where there is nothing to copy, a caller may pass null pointers.
    if (count != 0 && output.length >= count) {
        sys::loadNumbers(view.positions, std::span(output.positions, view.peaks));
        sys::loadNumbers(view.intensities, std::span(output.intensities, view.peaks));
        if (widths == kova::LineWidths::Read) {
            sys::loadNumbers(view.widths, std::span(output.widths, view.peaks));
        }
    }
    return count;
}

std::uint32_t KvsInstance::readProfileSpectrum(std::int64_t spectrumId,
                                               std::span<std::uint32_t> intensities) {
    const kova::KvsSpectraReader& spectra = reader.loadProfileSpectrum(spectrumId);
    const std::uint32_t count = checkedCount(spectra.numberOfProfilePoints());
    if (count != 0 && intensities.size() >= count) {
        spectra.getProfileSpectrum(intensities.data());
    }
    return count;
}

void KvsInstance::mzConversionFunc(std::int64_t spectrumId, std::span<const double> in, std::span<double> out,
                                   MassConversion conversion) {
    // Without values nothing is looked up, so the call succeeds for a spectrum that has no calibration, too.
    if (!in.empty()) {
        convertMasses(reader.getMzTrafo(spectrumId, kova::KvsReader::Compensation::Off), in, out, conversion,
                      FailingOutput::Untouched);
    }
}

}  // namespace lumo::io
