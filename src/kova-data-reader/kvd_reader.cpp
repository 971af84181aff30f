#include "kova-data-reader/kvd_reader.h"

#include "diag/errors.h"
#include "diag/throw.h"
#include "kova-data-reader/kvd_reader_impl.h"
#include "kova-data-reader/scan-decoding/bin_limit.h"
#include "sqlite/cppsqlite_tools.h"

namespace lumo::io::kova {

namespace {

CompressionType readCompressionType(CppSQLite3DB& db) {
    const auto type = sqlite::getProperty<std::int32_t>(db, "KovaCompressionType");
    const auto compression = static_cast<CompressionType>(type);
    if (compression != CompressionType::Scans && compression != CompressionType::Frames) {
        raiseUnsupportedCompressionType(type);
    }
    return compression;
}

std::uint32_t readBinCount(const ISqliteReader& reader) {
    const auto scaleFactor = getGlobalMetadatumRequired<std::int32_t>(reader, "PeakListIndexScaleFactor");
    const auto samples = getGlobalMetadatumRequired<std::uint32_t>(reader, "DigitizerNumSamples");
    const std::uint32_t binCount = static_cast<std::uint32_t>(scaleFactor) * samples;  // wraps, as written
    if (binCount == 0) {
        LUMO_THROW(calibration::CorruptDataError("Unreasonable digitizer timing settings in global metadata."));
    }
    return binCount;
}

}  // namespace

KvdReader::KvdReader(const std::filesystem::path& directory, bool useRecalibratedState)
    : impl(std::make_unique<KvdReaderImpl>(directory, useRecalibratedState, true)),
      logger(logging::Logger::getLogger("lumo.io.kova.KvdReader")),
      compressionType(readCompressionType(*impl->getSQLiteDb())),
      bins(std::make_unique<BinLimit>(readBinCount(*this))) {
    LUMO_LOG(logger, Debug, "Opened " << directory.string() << ", schema version " << impl->getSchemaVersionMajor()
                                      << '.' << impl->getSchemaVersionMinor());
}

KvdReader::KvdReader(KvdReader&&) noexcept = default;
KvdReader& KvdReader::operator=(KvdReader&&) noexcept = default;
KvdReader::~KvdReader() = default;

std::shared_ptr<CppSQLite3DB> KvdReader::getSQLiteDb() const { return impl->getSQLiteDb(); }

const FrameInfo& KvdReader::getFrameInfo(std::int64_t frameId) const { return impl->getFrameInfo(frameId); }

std::pair<const std::byte*, std::uint32_t> KvdReader::getScanBlob(std::int64_t frameId, std::uint32_t scan) const {
    return impl->getScanBlob(frameId, scan);
}

const KvdFrameReader& KvdReader::loadFrame(std::int64_t frameId) const { return impl->loadFrame(frameId); }

const ByteBuffer& KvdReader::getDecompressedScanData(std::int64_t frameId, std::uint32_t scan, std::uint32_t& start,
                                                     std::uint32_t& end) const {
    return impl->loadFrame(frameId).get(scan, start, end);
}

void KvdReader::hintWillReadScanRange(std::int64_t frameId, std::uint32_t scanBegin, std::uint32_t scanEnd) const {
    impl->hintWillReadScanRange(frameId, scanBegin, scanEnd);
}

std::optional<std::string> KvdReader::getCalibrationInfoString(bool negative, const std::string& key) const {
    return impl->getCalibrationReader().getCalibrationInfoString(negative, key);
}

std::optional<std::vector<std::byte>> KvdReader::getCalibrationInfoBlob(bool negative, const std::string& key) const {
    return impl->getCalibrationReader().getCalibrationInfoBlob(negative, key);
}

KvdReader::MzTrafoPtr KvdReader::getMzTrafo(std::int64_t frameId, bool /*raw*/) const {
    return impl->getCalibrationReader().getMzTrafo(frameId, true);
}

KvdReader::MzTrafoPtr KvdReader::getRawMzTrafo(std::int64_t frameId, bool /*flag*/) const {
    return impl->getCalibrationReader().getMzTrafo(frameId, true);
}

KvdReader::MzTrafoPtr KvdReader::getReferenceMzTrafo(bool negative) const {
    return impl->getCalibrationReader().getReferenceMzTrafo(negative);
}

KvdReader::MobTrafoPtr KvdReader::getMobTrafo(std::int64_t frameId) const {
    return impl->getCalibrationReader().getMobTrafo(frameId);
}

bool KvdReader::usingStateFromCalibrationFile() const { return impl->usingStateFromCalibrationFile(); }

std::optional<std::string> KvdReader::getCalibrationStateId() const { return std::nullopt; }

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
