#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

#include "calibration-state/calibration_reader_sqlite.h"
#include "kova-data-reader/blob/blob_file.h"
#include "kova-data-reader/blob/kvs_spectra_reader.h"
#include "kova-data-reader/compression_type.h"
#include "kova-data-reader/database/analysis_format.h"
#include "kova-data-reader/database/frame_info.h"
#include "kova-data-reader/scan-reading/scan_storage.h"
#include "kvd-calibration-reader/kvd_calibration_reader_impl.h"
#include "logging/logger.h"
#include "sqlite/cppsqlite3.h"

namespace lumo::io::kova {

// An open analysis of either format: its database connection, blob file and the one storage reader for its
// compression type. Owned by one reader object and used by one thread at a time. References and pointers into
// the storage reader are valid until the next call.
class KvdReaderImpl {
public:
    using Selector = std::optional<calibration::CalibrationStateSelector>;

    // Checks everything that can be checked without reading a frame. The selector, if any, chooses a state of
    // the external calibration file; see openExternalCalibration() for what happens when there is none.
    KvdReaderImpl(const std::filesystem::path& directory, Selector selector, AnalysisFormat analysisFormat);

    const std::shared_ptr<CppSQLite3DB>& getSQLiteDb() const { return db; }
    std::int32_t getSchemaVersionMajor() const { return schemaMajor; }
    std::int32_t getSchemaVersionMinor() const { return schemaMinor; }

    CompressionType getCompressionType() const { return compressionType; }

    FrameInfoTable& frameTable() { return *frames; }

    // Of compression types 1 and 2 only.
    ScanStorage& scanStorage() { return *scans; }

    // Make a part of a spectrum the decompressed one. Compression type 3 only.
    const KvsSpectraReader& loadLineSpectrum(std::int64_t frameId);
    const KvsSpectraReader& loadProfileSpectrum(std::int64_t frameId);

    const kova_calibration::KvdCalibrationReaderImpl& getCalibrationReader() const {
        return *calibrationReader;
    }
    // Empty when the calibration of the acquisition is in use.
    const std::optional<calibration::CalibrationReaderSqlite>& getExternalReader() const {
        return externalReader;
    }

    ::lumo::calibration::ICalibrationTransformatorPtr getMzTrafo(
        std::int64_t frameId, ::lumo::calibration::TemperatureCompensation compensation) const;

private:
    void checkSchemaVersion();
    void createStorageReader();
    KvsSpectraReader& spectraReader();
    // Without a file, or without a state that fits, the calibration of the acquisition stays in use, and the
    // log says so. Only a state that was asked for by its key must be there.
    void openExternalCalibration(const std::filesystem::path& file,
                                 calibration::CalibrationStateSelector selector);
    void describeAnalysis(calibration::CalibrationStateSelector& selector);

    logging::Logger logger = logging::Logger::getLogger("lumo.io.kova.KvdReaderImpl");
    std::shared_ptr<CppSQLite3DB> db = std::make_shared<CppSQLite3DB>();
    std::int32_t schemaMajor = 0;
    std::int32_t schemaMinor = 0;
    AnalysisFormat format;
    std::optional<BlobFile> blobFile;
    std::optional<FrameInfoTable> frames;
    CompressionType compressionType = {};
    std::unique_ptr<ScanStorage> scans;  // one of the two, by compression type
    std::unique_ptr<KvsSpectraReader> spectra;
    std::optional<calibration::CalibrationReaderSqlite> externalReader;
    std::optional<kova_calibration::KvdCalibrationReaderImpl> calibrationReader;
};

}  // namespace lumo::io::kova
