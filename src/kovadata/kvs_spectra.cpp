#include "kovadata/handle.h"
#include "kovadata/kvs.h"
#include "kovadata/kvs_instance.h"

// The exported functions for spectra without mobility, each one call of the instance. Sizes are counts of
// values, not bytes; a result that does not fit is not written, and its size is returned.
namespace {

using lumo::io::KvsInstance;
using lumo::io::KvsInterface;
using lumo::io::MassConversion;
using lumo::io::kova::LineWidths;

uint32_t readLines(uint64_t handle, int64_t id, const lumo::io::LineSpectrumOutput& output,
                   LineWidths widths) {
    return lumo::io::guarded<KvsInterface>(uint32_t{0}, [&] {
        return lumo::io::instanceOf<KvsInstance>(handle).readLineSpectrum(id, output, widths);
    });
}

uint32_t convert(uint64_t handle, int64_t id, const double* in, double* out, uint32_t count,
                 MassConversion conversion) {
    return lumo::io::guarded<KvsInterface>(uint32_t{0}, [&] {
        lumo::io::instanceOf<KvsInstance>(handle).mzConversionFunc(id, {in, count}, {out, count}, conversion);
        return uint32_t{1};
    });
}

}  // namespace

uint32_t kvs_read_line_spectrum(uint64_t handle, int64_t spectrum_id, double* positions, float* intensities,
                                uint32_t length) {
    return readLines(handle, spectrum_id, {positions, intensities, nullptr, length}, LineWidths::LeaveOut);
}

uint32_t kvs_read_line_spectrum_with_width(uint64_t handle, int64_t spectrum_id, double* positions,
                                           float* intensities, float* widths, uint32_t length) {
    return readLines(handle, spectrum_id, {positions, intensities, widths, length}, LineWidths::Read);
}

uint32_t kvs_read_profile_spectrum(uint64_t handle, int64_t spectrum_id, uint32_t* intensities,
                                   uint32_t length) {
    return lumo::io::guarded<KvsInterface>(uint32_t{0}, [&] {
        return lumo::io::instanceOf<KvsInstance>(handle).readProfileSpectrum(spectrum_id,
                                                                             {intensities, length});
    });
}

uint32_t kvs_index_to_mz(uint64_t handle, int64_t spectrum_id, const double* index, double* mz,
                         uint32_t cnt) {
    return convert(handle, spectrum_id, index, mz, cnt, MassConversion::IndexToMz);
}

uint32_t kvs_mz_to_index(uint64_t handle, int64_t spectrum_id, const double* mz, double* index,
                         uint32_t cnt) {
    return convert(handle, spectrum_id, mz, index, cnt, MassConversion::MzToIndex);
}
