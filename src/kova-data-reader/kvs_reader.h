#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "kova-data-reader/analysis_reader.h"
#include "kova-data-reader/blob/kvs_spectra_reader.h"

namespace lumo::io::kova {

// The one object through which an analysis without mobility is read: one spectrum per frame. Once it is
// constructed, everything that can be checked without reading a frame has been checked. Views and references
// are valid until the next call. Used by one thread at a time.
class KvsReader : public AnalysisReader {
public:
    explicit KvsReader(const std::filesystem::path& directory,
                       std::optional<calibration::CalibrationStateSelector> selector = std::nullopt);
    KvsReader(KvsReader&&) noexcept = default;
    KvsReader& operator=(KvsReader&&) noexcept = default;

    // Positions are indices as they are stored. The number of peaks comes from the frame's row.
    void readLineSpectrum(std::int64_t frameId, std::vector<double>& positions,
                          std::vector<float>& intensities) const;
    void readLineSpectrum(std::int64_t frameId, std::vector<double>& positions,
                          std::vector<float>& intensities, std::vector<float>& widths) const;
    LineSpectrumView viewLineSpectrum(std::int64_t frameId, LineWidths widths) const;

    // One intensity per index from 0.
    void readProfileSpectrum(std::int64_t frameId, std::vector<std::uint32_t>& intensities) const;
    const KvsSpectraReader& loadProfileSpectrum(std::int64_t frameId) const;
};

}  // namespace lumo::io::kova
