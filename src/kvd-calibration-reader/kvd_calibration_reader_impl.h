#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "calibration-table-reader/calibration_table_reader.h"
#include "calibration/i_calibration_transformator.h"
#include "calibration/polarity.h"
#include "calibration/temperature_compensation.h"
#include "calibration/transformation.h"
#include "kova-data-reader/database/analysis_format.h"
#include "kova-data-reader/database/i_sqlite_reader.h"
#include "kvd-calibration-reader/frame_mz_calibration.h"
#include "logging/logger.h"
#include "sqlite/cppsqlite3.h"
#include "sqlite/kept_rows.h"

namespace lumo::io::kova_calibration {

// Gives every frame its transformators from the calibration tables of the analysis database itself, as these
// are now. Every call returns an object that the caller alone owns. Used by one thread at a time, like the
// connection.
class KvdCalibrationReaderImpl final : public ::lumo::io::kova::ISqliteReader {
public:
    using Polarity = ::lumo::calibration::Polarity;

    // In an analysis without mobility the table "KovaCalibration" is not looked at, and requests for mobility
    // raise.
    KvdCalibrationReaderImpl(std::shared_ptr<CppSQLite3DB> db, ::lumo::io::kova::AnalysisFormat format);

    // Empty when the frame's calibration id has no row. With compensation the transformator's constants are
    // those for the temperatures at which the frame was measured; without, it carries the polarity as
    // measurement mode information.
    ::lumo::calibration::ICalibrationTransformatorPtr getMzTrafo(
        std::int64_t frameId, ::lumo::calibration::TemperatureCompensation compensation) const;

    // Empty when the frame's calibration id has no row.
    std::unique_ptr<::lumo::calibration::kova::ITransformator> getMobTrafo(std::int64_t frameId) const;

    // The one mass calibration that all frames of a polarity share, without compensation. Raises when there
    // are several or none.
    ::lumo::calibration::ICalibrationTransformatorPtr getReferenceMzTrafo(Polarity polarity) const;

    // The row of table "CalibrationInfo" for a key, its "Value" in field 0; empty when there is none.
    // Deliberate: the key is escaped, whatever it contains.
    std::optional<CppSQLite3Query> getCalibrationInfoValue(Polarity polarity, const std::string& key) const;
    std::optional<std::string> getCalibrationInfoString(Polarity polarity, const std::string& key) const;
    std::optional<std::vector<std::byte>> getCalibrationInfoBlob(Polarity polarity,
                                                                 const std::string& key) const;

    std::shared_ptr<CppSQLite3DB> getSQLiteDb() const override { return db; }

private:
    CppSQLite3Query queryFrame(std::int64_t frameId) const;
    std::optional<std::int64_t> queryMobilityId(std::int64_t frameId) const;

    static constexpr std::size_t kMostFrames = 1 << 14;  // of which rows are kept, some 100 bytes each

    logging::Logger logger;
    std::shared_ptr<CppSQLite3DB> db;
    calibration::CalibrationTableReader mzTable;
    std::optional<calibration::CalibrationTableReader> mobilityTable;
    mutable CppSQLite3Statement frameStatement;  // compiled when first used
    mutable CppSQLite3Statement mobilityIdStatement;
    mutable sqlite::KeptRows<FrameMzCalibration, kMostFrames> frames;
    mutable sqlite::KeptRows<std::optional<std::int64_t>, kMostFrames> mobilityIds;  // of frames
    mutable sqlite::KeptRows<MzCalibration> mzCalibrations;
    mutable sqlite::KeptRows<std::unique_ptr<::lumo::calibration::kova::ILinearVoltageRampBasedTransformator>>
        mobilityCalibrations;
};

// The frame's mobility calibration id. A frame without one is logged and fails with std::runtime_error.
std::int64_t getMobCalibId(std::int64_t frameId, CppSQLite3DB& db, const logging::Logger& logger);

// Id of the first frame of a polarity, if all its frames share one mass calibration; empty when there is
// none.
std::optional<std::int64_t> readRefMzTrafoId(CppSQLite3DB& db, ::lumo::calibration::Polarity polarity);

}  // namespace lumo::io::kova_calibration
