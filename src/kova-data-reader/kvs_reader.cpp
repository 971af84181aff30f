#include "kova-data-reader/kvs_reader.h"

#include "diag/errors.h"
#include "diag/throw.h"
#include "kova-data-reader/compression_type.h"
#include "kova-data-reader/kvd_reader_impl.h"
#include "sqlite/cppsqlite_tools.h"

// The reader of analyses without mobility: one spectrum per frame, whose number of peaks is in the frame's
// row and not in the blob file.
namespace lumo::io::kova {

// The number of samples is not needed here, but an analysis that claims to have none is damaged, and refused
// like one with mobility.
KvsReader::KvsReader(const std::filesystem::path& directory,
                     std::optional<calibration::CalibrationStateSelector> selector)
    : AnalysisReader(directory, std::move(selector), AnalysisFormat::Spectra, "lumo.io.kova.KvsReader") {
    if (impl->getCompressionType() != CompressionType::Spectra) {
        raiseUnsupportedCompressionType(static_cast<std::int32_t>(impl->getCompressionType()));
    }
    if (sqlite::getProperty<std::uint32_t>(*impl->getSQLiteDb(), "DigitizerNumSamples") == 0) {
        LUMO_THROW(
            calibration::CorruptDataError("Unreasonable digitizer timing settings in global metadata."));
    }
}

void KvsReader::readLineSpectrum(std::int64_t frameId, std::vector<double>& positions,
                                 std::vector<float>& intensities) const {
    impl->loadLineSpectrum(frameId).getLineSpectrum(getFrameInfo(frameId).numPeaks, positions, intensities,
                                                    nullptr);
}

void KvsReader::readLineSpectrum(std::int64_t frameId, std::vector<double>& positions,
                                 std::vector<float>& intensities, std::vector<float>& widths) const {
    impl->loadLineSpectrum(frameId).getLineSpectrum(getFrameInfo(frameId).numPeaks, positions, intensities,
                                                    &widths);
}

LineSpectrumView KvsReader::viewLineSpectrum(std::int64_t frameId, LineWidths widths) const {
    return impl->loadLineSpectrum(frameId).viewLineSpectrum(getFrameInfo(frameId).numPeaks, widths);
}

void KvsReader::readProfileSpectrum(std::int64_t frameId, std::vector<std::uint32_t>& intensities) const {
    impl->loadProfileSpectrum(frameId).getProfileSpectrum(intensities);
}

const KvsSpectraReader& KvsReader::loadProfileSpectrum(std::int64_t frameId) const {
    return impl->loadProfileSpectrum(frameId);
}

}  // namespace lumo::io::kova
