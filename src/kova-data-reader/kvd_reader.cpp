#include "kova-data-reader/kvd_reader.h"

#include "diag/errors.h"
#include "diag/throw.h"
#include "kova-data-reader/kvd_reader_impl.h"
#include "kova-data-reader/scan-reading/scan_reader.h"
#include "sqlite/cppsqlite_tools.h"

// The reader of analyses with mobility. It adds what only they have, scans and mobility calibrations, and
// refuses the compression type of spectra.
namespace lumo::io::kova {

namespace {

// Indices per sample times samples: the number of indices that a peak of this analysis may have. Others are
// dropped when they are decoded.
std::uint32_t readBinCount(const ISqliteReader& reader) {
    const std::uint32_t binCount = reader.getSQLiteDb()->inTransaction([&] {
        const auto scaleFactor = getGlobalMetadatumRequired<std::int32_t>(reader, "PeakListIndexScaleFactor");
        const auto samples = getGlobalMetadatumRequired<std::uint32_t>(reader, "DigitizerNumSamples");
        return static_cast<std::uint32_t>(scaleFactor) * samples;  // wraps, as written
    });
    if (binCount == 0) {
        LUMO_THROW(
            calibration::CorruptDataError("Unreasonable digitizer timing settings in global metadata."));
    }
    return binCount;
}

}  // namespace

KvdReader::KvdReader(const std::filesystem::path& directory,
                     std::optional<calibration::CalibrationStateSelector> selector)
    : AnalysisReader(directory, std::move(selector), AnalysisFormat::Mobility, "lumo.io.kova.KvdReader") {
    if (impl->getCompressionType() == CompressionType::Spectra) {
        raiseUnsupportedCompressionType(static_cast<std::int32_t>(impl->getCompressionType()));
    }
    scanReader = std::make_unique<ScanReader>(impl->scanStorage(), impl->frameTable(),
                                              getDefaultNormalizationType(), readBinCount(*this));
}

KvdReader::KvdReader(KvdReader&&) noexcept = default;
KvdReader& KvdReader::operator=(KvdReader&&) noexcept = default;
KvdReader::~KvdReader() = default;

std::pair<const std::byte*, std::uint32_t> KvdReader::getScanBlob(std::int64_t frameId,
                                                                  std::uint32_t scan) const {
    return impl->scanStorage().getScanBlob(frameId, scan);
}

const ByteBuffer& KvdReader::getDecompressedScanData(std::int64_t frameId, std::uint32_t scan,
                                                     std::uint32_t& start, std::uint32_t& end) const {
    return impl->scanStorage().getDecompressedScanData(frameId, scan, start, end);
}

void KvdReader::hintWillReadScanRange(std::int64_t frameId, std::uint32_t scanBegin,
                                      std::uint32_t scanEnd) const {
    scanReader->hintWillReadScanRange({frameId, scanBegin, scanEnd});
}

KvdReader::MobTrafoPtr KvdReader::getMobTrafo(std::int64_t frameId) const {
    const auto& external = impl->getExternalReader();
    return external ? external->getMobTrafo(frameId) : impl->getCalibrationReader().getMobTrafo(frameId);
}

// What the default is was settled with each schema version: version 1 has no times to normalise with, version
// 2 relates intensities to the ramp, later ones to 100 ms.
NormalizationType KvdReader::getDefaultNormalizationType() const {
    switch (impl->getSchemaVersionMajor()) {
        case 1:
            return NormalizationType::None;
        case 2:
            return NormalizationType::DutyCycle;
        default:
            return NormalizationType::AccumulationTime100ms;
    }
}

}  // namespace lumo::io::kova
