#include "kova-data-reader/kvd_reader_impl.h"

#include <stdexcept>
#include <string>

#include "diag/throw.h"
#include "kova-data-reader/database/analysis_files.h"
#include "sqlite/cppsqlite_tools.h"

namespace lumo::io::kova {

namespace {

constexpr std::int32_t kNewestSchemaMajor = 3;

}  // namespace

KvdReaderImpl::KvdReaderImpl(const std::filesystem::path& directory, bool useRecalibratedState, bool withMobility)
    : isKvd(withMobility) {
    const AnalysisFiles files = locateAnalysisFiles(directory, isKvd);
    openDatabase(files.database);
    blobFile.emplace(files.blob);
    frames.emplace(*db, isKvd, schemaMajor);
    createStorageReader();
    openCalibration(directory, useRecalibratedState);
}

void KvdReaderImpl::openCalibration(const std::filesystem::path& directory, bool useRecalibratedState) {
    if (useRecalibratedState) {
        const std::filesystem::path calibrationFile = directory / "calibration.sqlite";
        if (std::error_code error; std::filesystem::exists(calibrationFile, error)) {
            LUMO_THROW(std::runtime_error("This version cannot read re-calibrated states from " +
                                          calibrationFile.string() + "."));
        }
        LUMO_LOG(logger, Warn, "Requested recalibration file " << calibrationFile.string()
                                   << " does not exists. Fallback to instrument calibration from kvd.");
    }
    calibrationReader.emplace(db, isKvd);
    LUMO_LOG(logger, Info, "Reading data using instrument calibration");
}

void KvdReaderImpl::openDatabase(const std::filesystem::path& file) {
    db->open(file);
    db->execDML("PRAGMA busy_timeout=15000");
    schemaMajor = sqlite::getProperty<std::int32_t>(*db, "SchemaVersionMajor");
    schemaMinor = sqlite::getProperty<std::int32_t>(*db, "SchemaVersionMinor");
    if (schemaMajor > kNewestSchemaMajor) {
        LUMO_THROW(std::runtime_error("KVD schema version " + std::to_string(schemaMajor) + "." +
                                      std::to_string(schemaMinor) + " not supported."));
    }
}

void KvdReaderImpl::createStorageReader() {
    const auto type = sqlite::getProperty<std::int32_t>(*db, "KovaCompressionType");
    switch (static_cast<CompressionType>(type)) {
        case CompressionType::Scans:
            storage.emplace<KvdReaderCache>();
            return;
        case CompressionType::Frames:
            storage.emplace<KvdFrameReader>();
            return;
        case CompressionType::Spectra: {
            const bool hasLine = sqlite::getProperty<bool>(*db, "HasLineSpectra");
            const bool hasLineWidth = sqlite::getProperty<bool>(*db, "HasLineSpectraPeakWidth");
            const bool hasProfile = sqlite::getProperty<bool>(*db, "HasProfileSpectra");
            storage.emplace<KvsSpectraReader>(hasLine, hasLineWidth, hasProfile);
            return;
        }
        default:
            raiseUnsupportedCompressionType(type);
    }
}

const FrameInfo& KvdReaderImpl::getFrameInfo(std::int64_t frameId) { return frames->getFrameInfo(frameId); }

std::pair<const std::byte*, std::uint32_t> KvdReaderImpl::getScanBlob(std::int64_t frameId, std::uint32_t scan) {
    auto* const cache = std::get_if<KvdReaderCache>(&storage);
    if (cache == nullptr) {
        LUMO_THROW(std::runtime_error("Unexpected call to getScanBlob for analysis with frame compression"));
    }
    const std::int64_t blockPosition = getFrameInfo(frameId).blobOffset;
    if (!cache->contains(blockPosition, scan)) {
        cache->fillScan(blobFile->stream(), frameId, blockPosition, scan);
    }
    return cache->get(frameId, scan);
}

const KvdFrameReader& KvdReaderImpl::loadFrame(std::int64_t frameId) {
    auto* const reader = std::get_if<KvdFrameReader>(&storage);
    if (reader == nullptr) {
        LUMO_THROW(
            std::runtime_error("Unexpected call to getDecompressedScanData for analysis with scan compression"));
    }
    reader->fill(blobFile->stream(), frameId, getFrameInfo(frameId).blobOffset);
    return *reader;
}

void KvdReaderImpl::hintWillReadScanRange(std::int64_t frameId, std::uint32_t scanBegin, std::uint32_t scanEnd) {
    if (scanEnd < scanBegin) {
        LUMO_THROW(std::invalid_argument("scan_end must be >= scan_begin."));
    }
    if (auto* const cache = std::get_if<KvdReaderCache>(&storage)) {
        cache->fillRange(blobFile->stream(), frameId, getFrameInfo(frameId).blobOffset, scanBegin, scanEnd);
    }
}

KvsSpectraReader& KvdReaderImpl::spectraReader() {
    auto* const reader = std::get_if<KvsSpectraReader>(&storage);
    if (reader == nullptr) {
        LUMO_THROW(std::runtime_error("Invalid configuration, no spectra reader supported"));
    }
    return *reader;
}

const KvsSpectraReader& KvdReaderImpl::loadLineSpectrum(std::int64_t frameId) {
    KvsSpectraReader& reader = spectraReader();
    reader.fillLineSpectrum(blobFile->stream(), frameId, getFrameInfo(frameId).blobOffset);
    return reader;
}

const KvsSpectraReader& KvdReaderImpl::loadProfileSpectrum(std::int64_t frameId) {
    KvsSpectraReader& reader = spectraReader();
    reader.fillProfileSpectrum(blobFile->stream(), frameId, getFrameInfo(frameId).blobOffset);
    return reader;
}

}  // namespace lumo::io::kova
