#include "kova-data-reader/kvd_reader_impl.h"

#include <stdexcept>
#include <string>

#include "diag/errors.h"
#include "diag/throw.h"
#include "kova-data-reader/database/analysis_files.h"
#include "kova-data-reader/scan-reading/framewise_storage.h"
#include "kova-data-reader/scan-reading/scanwise_storage.h"
#include "sqlite/cppsqlite_tools.h"

// Opens an analysis, in the order in which callers rely on the failures: files, schema version, blob file,
// statement for frames, storage, calibration. All rows are read in one transaction, so an analysis that is
// being written is seen at one moment. What is made here is kept; later calls look up only what they are
// asked for.
namespace lumo::io::kova {

using ::lumo::calibration::Polarity;
using ::lumo::calibration::TemperatureCompensation;

namespace {

constexpr std::int32_t kNewestSchemaMajor = 3;

}  // namespace

KvdReaderImpl::KvdReaderImpl(const std::filesystem::path& directory, Selector selector,
                             AnalysisFormat analysisFormat)
    : format(analysisFormat) {
    const AnalysisFiles files = locateAnalysisFiles(directory, format);
    db->open(files.database);
    db->execDML("PRAGMA busy_timeout=15000");
    db->inTransaction([&] {
        checkSchemaVersion();
        blobFile.emplace(files.blob);
        frames.emplace(*db, format, schemaMajor);
        createStorageReader();
        if (selector) {
            openExternalCalibration(calibration::getCalibrationFile(directory), *selector);
        }
        calibrationReader.emplace(db, format);
    });
    if (!externalReader) {
        LUMO_LOG(logger, Info, "Reading data using instrument calibration");
    }
}

void KvdReaderImpl::openExternalCalibration(const std::filesystem::path& file,
                                            calibration::CalibrationStateSelector selector) {
    if (std::error_code error; !std::filesystem::exists(file, error)) {
        LUMO_LOG(logger, Warn,
                 "Requested recalibration file "
                     << file.string() << " does not exists. Fallback to instrument calibration from kvd.");
        return;
    }
    if (selector.analysisInfoRequired()) {
        describeAnalysis(selector);
    }
    externalReader = calibration::CalibrationReaderSqlite::getCalibrationReaderSqlite(file, selector, format);
    if (externalReader) {
        LUMO_LOG(logger, Info,
                 "Reading data using calibration state " << externalReader->getCalibrationStateId());
        return;
    }
    // A state that was asked for by its key must be there; any other request falls back to the acquisition's
    // calibration.
    const auto& request = selector.getRequestedCalibrationStateInformation();
    if (!selector.analysisInfoRequired() && !request.source) {
        LUMO_THROW(CalibrationStateError("Requested uuid " + request.key.value_or("MISSING") +
                                         " not found in calibration.sqlite"));
    }
}

// Tells the selector what a complete state has to cover.
void KvdReaderImpl::describeAnalysis(calibration::CalibrationStateSelector& selector) {
    const auto frameCount =
        sqlite::simpleCheckedOptionalQuery<std::int64_t>(*db, "SELECT COUNT(*) FROM Frames");
    if (!frameCount) {
        LUMO_THROW(std::runtime_error("Unexpectly missing frame information!"));
    }
    CppSQLite3Query polarity = db->execQuery("SELECT DISTINCT Polarity FROM Frames");
    if (polarity.eof()) {
        LUMO_THROW(std::runtime_error("Unexpectly missing frame polarity information!"));
    }
    calibration::AnalysisCoverage needed{.frameCount = static_cast<std::size_t>(*frameCount),
                                         .format = format};
    for (; !polarity.eof(); polarity.nextRow()) {
        (polarity.getStringField(0) == "+" ? needed.hasPositive : needed.hasNegative) = true;
    }
    selector.setAnalysisInfo(needed);
}

// Older versions are read too: what they lack is looked for where it is needed.
void KvdReaderImpl::checkSchemaVersion() {
    schemaMajor = sqlite::getProperty<std::int32_t>(*db, "SchemaVersionMajor");
    schemaMinor = sqlite::getProperty<std::int32_t>(*db, "SchemaVersionMinor");
    if (schemaMajor > kNewestSchemaMajor) {
        LUMO_THROW(std::runtime_error("KVD schema version " + std::to_string(schemaMajor) + "." +
                                      std::to_string(schemaMinor) + " not supported."));
    }
}

// The one place where the compression type decides what reads scans or spectra.
void KvdReaderImpl::createStorageReader() {
    const auto type = sqlite::getProperty<std::int32_t>(*db, "KovaCompressionType");
    compressionType = static_cast<CompressionType>(type);
    switch (compressionType) {
        case CompressionType::Scans:
            scans = std::make_unique<ScanwiseStorage>(blobFile->stream(), *frames);
            return;
        case CompressionType::Frames:
            scans = std::make_unique<FramewiseStorage>(blobFile->stream(), *frames);
            return;
        case CompressionType::Spectra: {
            SpectrumParts stored;
            stored.lines = sqlite::getProperty<bool>(*db, "HasLineSpectra");
            stored.lineWidths = sqlite::getProperty<bool>(*db, "HasLineSpectraPeakWidth");
            stored.profiles = sqlite::getProperty<bool>(*db, "HasProfileSpectra");
            spectra = std::make_unique<KvsSpectraReader>(stored);
            return;
        }
        default:
            raiseUnsupportedCompressionType(type);
    }
}

::lumo::calibration::ICalibrationTransformatorPtr KvdReaderImpl::getMzTrafo(
    std::int64_t frameId, TemperatureCompensation compensation) const {
    if (!externalReader) {
        // Deliberate: always compensated, whatever the caller asks for.
        return calibrationReader->getMzTrafo(frameId, TemperatureCompensation::On);
    }
    if (compensation == TemperatureCompensation::On && externalReader->hasFrameMzTrafos()) {
        return externalReader->getMzTrafo(frameId);
    }
    const std::string id = std::to_string(frameId);
    const CppSQLite3Query row = db->execQuery("SELECT Polarity, T1, T2 FROM Frames WHERE Id=" + id);
    if (row.eof()) {
        LUMO_THROW(std::runtime_error("Frame " + id + " does not exist."));
    }
    const auto polarity = row.getStringField(0) == "-" ? Polarity::Negative : Polarity::Positive;
    return externalReader->getMzTrafo(frameId, polarity, row.getFloatField(1), row.getFloatField(2),
                                      compensation);
}

KvsSpectraReader& KvdReaderImpl::spectraReader() {
    if (!spectra) {
        LUMO_THROW(std::runtime_error("Invalid configuration, no spectra reader supported"));
    }
    return *spectra;
}

// The spectra reader remembers what it has loaded by the position in the file, so loading the same spectrum
// again costs a look-up of the frame.
const KvsSpectraReader& KvdReaderImpl::loadLineSpectrum(std::int64_t frameId) {
    KvsSpectraReader& reader = spectraReader();
    reader.fillLineSpectrum(blobFile->stream(), frameId, frames->getFrameInfo(frameId).blobOffset);
    return reader;
}

const KvsSpectraReader& KvdReaderImpl::loadProfileSpectrum(std::int64_t frameId) {
    KvsSpectraReader& reader = spectraReader();
    reader.fillProfileSpectrum(blobFile->stream(), frameId, frames->getFrameInfo(frameId).blobOffset);
    return reader;
}

}  // namespace lumo::io::kova
