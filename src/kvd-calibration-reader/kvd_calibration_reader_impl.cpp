#include "kvd-calibration-reader/kvd_calibration_reader_impl.h"

#include <stdexcept>
#include <utility>

#include "calibration-table-reader/mobility_calibration.h"
#include "calibration/measurement_mode_info.h"
#include "calibration/temperature_compensation.h"
#include "diag/errors.h"
#include "diag/throw.h"
#include "kvd-calibration-reader/frame_mz_calibration.h"
#include "sqlite/cppsqlite_tools.h"
#include "sqlite/quoting.h"

// The calibration that was stored during acquisition. A frame's row names its calibration and states at which
// temperatures it was measured; the calibration's row gives the model. Both are read in one transaction, so a
// writer cannot come between them. What was made of the rows is kept as long as nobody writes to the database:
// many frames share a calibration, and a frame is often asked for again.
namespace lumo::io::kova_calibration {

namespace models = ::lumo::calibration;

namespace {

constexpr const char* kLoggerName = "lumo.io.kova_calibration.KvdCalibrationReaderImpl";
constexpr int kMeasurementMode = 2;

// Adapts a transformator, which must be the caller's own, to the temperatures of a frame. Coefficients of 0
// mean that the instrument was not characterised; the temperatures are noted all the same.
void compensate(models::ICalibrationTransformatorPtr& transformator,
                const models::TemperatureCompensationInfo& info, const models::Temperatures& measured,
                const logging::Logger& logger) {
    if (info.coefficients.t1 == 0.0 && info.coefficients.t2 == 0.0) {
        LUMO_LOG(logger, Trace, "Not performing temperature compensation, as coefficients are 0.0");
        models::setMeasuredTemperatures(*transformator, measured, info.mode);
    } else {
        models::performTemperatureCompensation(transformator, measured);
    }
}

std::unique_ptr<models::kova::ITransformator> copyOf(
    const std::unique_ptr<models::kova::ILinearVoltageRampBasedTransformator>& kept) {
    return kept == nullptr ? nullptr
                           : models::kova::makeLvrTransformator(
                                 kept->getVoltageRamp(), kept->getTransitTime(), kept->getCoefficients());
}

}  // namespace

KvdCalibrationReaderImpl::KvdCalibrationReaderImpl(std::shared_ptr<CppSQLite3DB> database,
                                                   ::lumo::io::kova::AnalysisFormat format)
    : logger(logging::Logger::getLogger(kLoggerName)),
      db(std::move(database)),
      mzTable(*db, "MzCalibration", kNumExtraMzColumns, kExtraMzColumns, std::nullopt) {
    if (format == ::lumo::io::kova::AnalysisFormat::Mobility) {
        mobilityTable.emplace(*db, "KovaCalibration", std::size_t{0}, "", std::nullopt);
    }
}

models::ICalibrationTransformatorPtr KvdCalibrationReaderImpl::getMzTrafo(
    std::int64_t frameId, models::TemperatureCompensation compensation) const {
    FrameMzCalibration frame;
    const MzCalibration calibration = db->inTransaction([&] {
        frame = frames.get(frameId, db->dataVersion(),
                           [&] { return readFrameMzCalibration(frameId, queryFrame(frameId), logger); });
        return mzCalibrations.get(frame.calibrationId, db->dataVersion(),
                                  [&] { return readMzCalibration(frame.calibrationId, mzTable); });
    });
    if (!calibration.transformator) {
        return nullptr;
    }
    models::ICalibrationTransformatorPtr transformator = calibration.transformator->Clone();
    if (compensation == models::TemperatureCompensation::On) {
        compensate(transformator, calibration.temperatureInfo, frame.measured, logger);
    } else {
        transformator->SetMeasurementModeInfo(models::createMeasurementModeInfo(
            kMeasurementMode, frame.polarity == Polarity::Negative ? 1 : 0, 0, 0));
    }
    return transformator;
}

std::unique_ptr<models::kova::ITransformator> KvdCalibrationReaderImpl::getMobTrafo(
    std::int64_t frameId) const {
    if (!mobilityTable) {
        LUMO_THROW(std::runtime_error("Mobility calibration is not supported."));
    }
    return db->inTransaction([&]() -> std::unique_ptr<models::kova::ITransformator> {
        const std::optional<std::int64_t> calibrationId =
            mobilityIds.get(frameId, db->dataVersion(), [&] { return queryMobilityId(frameId); });
        if (calibrationId) {
            return copyOf(mobilityCalibrations.get(*calibrationId, db->dataVersion(), [&] {
                return readMobilityTrafo(*calibrationId, *mobilityTable);
            }));
        }
        return readMobilityTrafo(getMobCalibId(frameId, *db, logger), *mobilityTable);
    });
}

// Each frame of a run is asked for, so these statements are compiled once.
CppSQLite3Query KvdCalibrationReaderImpl::queryFrame(std::int64_t frameId) const {
    if (!frameStatement.isPrepared()) {
        frameStatement = db->compileStatement(kFrameMzCalibrationQuery);
    }
    frameStatement.bind(1, frameId);
    return frameStatement.execQuery();
}

// In the usual case, which is one row with a whole number. Anything else is left to the checked query, which knows
// what to say about it.
std::optional<std::int64_t> KvdCalibrationReaderImpl::queryMobilityId(std::int64_t frameId) const {
    if (!mobilityIdStatement.isPrepared()) {
        mobilityIdStatement = db->compileStatement("SELECT KovaCalibration FROM Frames WHERE Id=?");
    }
    mobilityIdStatement.bind(1, frameId);
    CppSQLite3Query row = mobilityIdStatement.execQuery();
    if (row.fieldType(0) != sqlite::FieldType::Integer) {
        return std::nullopt;
    }
    const std::int64_t calibrationId = row.getInt64Field(0);
    row.nextRow();
    return row.eof() ? std::optional(calibrationId) : std::nullopt;
}

models::ICalibrationTransformatorPtr KvdCalibrationReaderImpl::getReferenceMzTrafo(Polarity polarity) const {
    const std::optional<std::int64_t> frameId = readRefMzTrafoId(*db, polarity);
    if (!frameId) {
        LUMO_THROW(std::runtime_error("No m/z calibration available for specified polarity."));
    }
    // A reference belongs to no frame, so there is no temperature to compensate for.
    return getMzTrafo(*frameId, models::TemperatureCompensation::Off);
}

// SQLite's failure becomes one of this folder's, since a table that is missing or different is damage of the
// analysis and not of the database.
std::optional<CppSQLite3Query> KvdCalibrationReaderImpl::getCalibrationInfoValue(
    Polarity polarity, const std::string& key) const {
    const std::string sign(1, models::signOf(polarity));
    try {
        CppSQLite3Query row = db->execQuery("SELECT Value FROM CalibrationInfo WHERE KeyPolarity='" + sign +
                                            "' AND KeyName=" + sqlite::sqlLiteral(key));
        return row.eof() ? std::nullopt : std::optional<CppSQLite3Query>(std::move(row));
    } catch (const CppSQLite3Exception& e) {
        LUMO_THROW(calibration::CorruptDataError("SQLite error retrieving calibration info " + key + " / " +
                                                 sign + ": " + e.what()));
    }
}

std::optional<std::string> KvdCalibrationReaderImpl::getCalibrationInfoString(Polarity polarity,
                                                                              const std::string& key) const {
    const std::optional<CppSQLite3Query> row = getCalibrationInfoValue(polarity, key);
    return row ? std::optional<std::string>(row->getStringField(0)) : std::nullopt;
}

std::optional<std::vector<std::byte>> KvdCalibrationReaderImpl::getCalibrationInfoBlob(
    Polarity polarity, const std::string& key) const {
    const std::optional<CppSQLite3Query> row = getCalibrationInfoValue(polarity, key);
    return row ? std::optional<std::vector<std::byte>>(row->getBlobField(0)) : std::nullopt;
}

// Raises what is wrong with the frame's row, in the order: no row or NULL, wrong type, more than one row.
std::int64_t getMobCalibId(std::int64_t frameId, CppSQLite3DB& db, const logging::Logger& logger) {
    const std::string id = std::to_string(frameId);
    const std::string sql = "SELECT KovaCalibration FROM Frames WHERE Id=" + id;
    CppSQLite3Query row = db.execQuery(sql);
    if (row.eof() || row.fieldIsNull(0)) {
        const std::string text = "Frame [" + id + "] does not exist or is missing KovaCalibration";
        LUMO_LOG(logger, Error, text);
        LUMO_THROW(std::runtime_error(text));
    }
    // The checked query knows what to accept besides a single whole number, and what to say about the rest.
    return sqlite::simpleCheckedQuery<std::int64_t>(db, sql);
}

// The frames of a polarity must agree on one calibration, since a reference stands for all of them.
std::optional<std::int64_t> readRefMzTrafoId(CppSQLite3DB& db, models::Polarity polarity) {
    const std::string condition = " WHERE Polarity = '" + std::string(1, models::signOf(polarity)) + "'";
    const auto count = sqlite::simpleCheckedOptionalQuery<std::int32_t>(
        db, "SELECT COUNT(DISTINCT MzCalibration) FROM frames" + condition);
    if (count.value_or(0) > 1) {
        LUMO_THROW(
            std::runtime_error("Multiple m/z calibrations available for specified polarity, no reference "
                               "calibrator available."));
    }
    if (count.value_or(0) < 1) {
        return std::nullopt;
    }
    return sqlite::simpleCheckedOptionalQuery<std::int64_t>(
        db, "SELECT Id FROM Frames" + condition + " ORDER BY ROWID LIMIT 1");
}

}  // namespace lumo::io::kova_calibration
