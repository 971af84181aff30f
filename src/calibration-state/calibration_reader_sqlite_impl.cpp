#include "calibration-state/calibration_reader_sqlite_impl.h"

#include <stdexcept>

#include "calibration-table-reader/mobility_calibration.h"
#include "calibration/measurement_mode_info.h"
#include "diag/errors.h"
#include "diag/throw.h"
#include "sqlite/cppsqlite_tools.h"
#include "sqlite/quoting.h"

// One state of the external calibration file. Opening it reads the state's row, the digitizer's constants and
// which mapping tables there are. Calibrations are read when a frame asks for them. The references of the two
// polarities are kept, since all frames share them; calibrations of single frames are not.
//
// A state either has a mass calibration for each frame, made at that frame's temperatures and therefore not
// compensated any more, or one for each polarity, which is compensated. The models have the same numbers as
// in the analysis database but their rows have other columns, hence two sets of fields.
namespace lumo::io::calibration {

namespace models = ::lumo::calibration;
namespace fs = std::filesystem;

using sqlite::sqlLiteral;

namespace {

constexpr int kNewestSchemaMajor = 1;
constexpr int kMeasurementMode = 2;

// Fields of a row of "RefMzCalibration" and of "FrameMzCalibration" as they are queried. A frame's row has no
// temperatures, so its coefficients begin where the reference's T1 is.
enum Field : int {
    kModelType = 1,
    kFrameFirstCoefficient = 2,
    kT1 = 2,
    kT2,
    kDC1,
    kDC2,
    kRefFirstCoefficient
};

// Looked for step by step, as for the analysis itself, so that the text says what is missing: the directory,
// a directory, or the file.
fs::path existingCalibrationFile(const fs::path& directory) {
    std::error_code error;
    const fs::file_status status = fs::status(directory, error);
    if (status.type() == fs::file_type::not_found || status.type() == fs::file_type::none) {
        LUMO_THROW(std::runtime_error("Specified analysis directory does not exist"));
    }
    if (!fs::is_directory(status)) {
        LUMO_THROW(std::runtime_error("Specified path is not a directory"));
    }
    fs::path file = directory / "calibration.sqlite";
    if (!fs::exists(file, error)) {
        LUMO_THROW(std::runtime_error(file.string() + " doesn't exist"));
    }
    return file;
}

[[noreturn]] void raiseUnsupportedModel(const char* model) {
    LUMO_THROW(CorruptDataError(std::string("m/z calibration model ") + model + " is not supported."));
}

const char* nameOf(models::Polarity polarity) {
    return polarity == models::Polarity::Negative ? "negative" : "positive";
}

}  // namespace

CalibrationReaderSqliteImpl::CalibrationReaderSqliteImpl(const fs::path& directory,
                                                         const CalibrationStateSelector& selector,
                                                         kova::AnalysisFormat format) {
    db->open(existingCalibrationFile(directory));
    db->inTransaction([&] { readState(selector, directory, format); });
}

// The order of the checks decides which failure is reported: kind of file, state, schema version, tables. May
// run twice when a writer comes between, so it begins by forgetting what the first run has made.
void CalibrationReaderSqliteImpl::readState(const CalibrationStateSelector& selector,
                                            const fs::path& directory, kova::AnalysisFormat format) {
    for (StateTable* const table : {&refMzTable, &frameMzTable, &mobilityTable}) {
        table->reader.reset();
    }
    const auto schemaType = sqlite::simpleCheckedQuery<std::string>(
        *db, "SELECT Value FROM GlobalMetadata WHERE Key='SchemaType'");
    if (schemaType != "CALIBRATION_SQLITE") {
        LUMO_THROW(std::runtime_error("Schema type '" + schemaType + "' not supported"));
    }
    selectState(selector, directory);
    db->execDML("PRAGMA busy_timeout=15000");
    checkSchemaVersion();
    stateId = sqlite::simpleCheckedQuery<std::int32_t>(
        *db, "SELECT Id From CalibrationState WHERE Key=" + sqlLiteral(key));
    hasFrameCalibrators = sqlite::simpleCheckedQuery<bool>(
        *db, "SELECT HasFrameCalibrators FROM CalibrationState WHERE Id=" + std::to_string(stateId));
    frameMapping.emplace(*db, "FrameMzCalibrationMapping", "FrameMzCalibrationId", stateId);
    mobilityMapping.emplace(*db, "KovaCalibrationMapping", "KovaCalibrationId", stateId);
    requireTables(format);
}

// Only tables that this state needs have to be there; a file of other years may lack the others.
void CalibrationReaderSqliteImpl::requireTables(kova::AnalysisFormat format) {
    readerOf(hasFrameCalibrators ? frameMzTable : refMzTable);
    if (format == kova::AnalysisFormat::Mobility) {
        readerOf(mobilityTable);
    }
    readDigitizerConstants();
    if (hasFrameCalibrators) {
        // A mapping without the columns of the look-ups fails here and not at the first frame.
        frameMapping->prepare();
    }
}

const CalibrationTableReader& CalibrationReaderSqliteImpl::readerOf(StateTable& table) {
    if (!table.reader) {
        table.reader.emplace(*db, table.name, table.numExtraColumns, table.extraColumns, stateId);
    }
    return *table.reader;
}

// The selector gives a key; it must belong to exactly one row, since everything else is looked up by that
// row's id.
void CalibrationReaderSqliteImpl::selectState(const CalibrationStateSelector& selector,
                                              const fs::path& directory) {
    try {
        key = selector.getUUID(*db);
    } catch (const NoMatchingCalibrationStateError& e) {
        LUMO_THROW(NoMatchingCalibrationStateError(
            std::string("No matching calibration state found, reason ") + e.what()));
    }
    const auto count = sqlite::simpleCheckedQuery<std::int64_t>(
        *db, "SELECT COUNT(*) FROM CalibrationState WHERE Key=" + sqlLiteral(key));
    if (count != 1) {
        LUMO_THROW(std::runtime_error("Requested calibration state " + key + " does not exist"));
    }
    LUMO_LOG(logger, Debug, "Using calibration state " << key << " for analysis " << directory.string());
}

// The major version decides. What a higher minor one adds is nothing that this library must know.
void CalibrationReaderSqliteImpl::checkSchemaVersion() {
    const auto major = sqlite::getProperty<std::int32_t>(*db, "SchemaVersionMajor");
    const auto minor = sqlite::getProperty<std::int32_t>(*db, "SchemaVersionMinor");
    if (major > kNewestSchemaMajor) {
        LUMO_THROW(std::runtime_error("calibration schema version " + std::to_string(major) + "." +
                                      std::to_string(minor) + " not supported."));
    }
}

// Without them only models that need them fail, and only when such a calibration is asked for.
void CalibrationReaderSqliteImpl::readDigitizerConstants() {
    const std::string id = std::to_string(stateId);
    const CppSQLite3Query row = db->execQuery(
        "SELECT DigitizerTimebase, DigitizerDelay FROM DigitizerConstants WHERE CalibrationState=" + id);
    if (row.eof()) {
        LUMO_LOG(logger, Info, "No digitizer constants in calibration state " << id);
        return;
    }
    digitizerConstants = {row.getFloatField(0), row.getFloatField(1)};
}

const CalibrationReaderSqliteImpl::DigitizerConstants& CalibrationReaderSqliteImpl::requireDigitizerConstants(
    const char* models) const {
    if (!digitizerConstants) {
        LUMO_THROW(std::runtime_error(std::string("Missing digitizer constants, unable to load ") + models +
                                      " m/z transformators"));
    }
    return *digitizerConstants;
}

// Kept by polarity once it was read; a failure keeps nothing, so the next call tries again.
const ReferenceMzTrafo& CalibrationReaderSqliteImpl::getRefMzTrafo(Polarity polarity) {
    std::optional<ReferenceMzTrafo>& reference = references[static_cast<std::size_t>(polarity)];
    if (!reference) {
        reference = db->inTransaction([&] { return loadRefMzTrafo(polarity); });
    }
    return *reference;
}

// A state without a reference for this polarity is usable, for frames of the other one; a reference that
// points to no row is damage.
ReferenceMzTrafo CalibrationReaderSqliteImpl::loadRefMzTrafo(Polarity polarity) {
    const CppSQLite3Query reference = db->execQuery(
        std::string("SELECT ") +
        (polarity == Polarity::Negative ? "NegativeReferenceCalibratorId" : "PositiveReferenceCalibratorId") +
        " FROM CalibrationState WHERE Id=" + std::to_string(stateId));
    if (reference.eof() || reference.fieldIsNull(0)) {
        return {};
    }
    const std::int64_t id = reference.getInt64Field(0);
    CppSQLite3Query row;
    if (!readerOf(refMzTable).getCalibratorCoefficients(id, row)) {
        LUMO_THROW(CorruptDataError("Calibration state " + key + " has no reference m/z calibration " +
                                    std::to_string(id) + " for " + nameOf(polarity) + " polarity."));
    }
    ReferenceMzTrafo result{buildReference(row), {}};
    result.temperatureInfo.reference = {row.getFloatField(kT1), row.getFloatField(kT2)};
    result.temperatureInfo.coefficients = {row.getFloatField(kDC1), row.getFloatField(kDC2)};
    models::addTemperatureCompensationInfo(*result.transformator, result.temperatureInfo);
    result.transformator->SetMeasurementModeInfo(
        models::createMeasurementModeInfo(kMeasurementMode, polarity == Polarity::Negative ? 1 : 0, 0, 0));
    return result;
}

// Models that exist but cannot be read have a text each; numbers of no model are refused by
// supportedCalibrationModelsFromInt().
CalibrationReaderSqliteImpl::MzTrafoPtr CalibrationReaderSqliteImpl::buildReference(
    CppSQLite3Query& row) const {
    switch (supportedCalibrationModelsFromInt(row.getIntField(kModelType))) {
        case SupportedCalibrationModel::Tof: {
            const DigitizerConstants& constants = requireDigitizerConstants("tof");
            return getMzTrafoTof(row, kRefFirstCoefficient, constants.delay, constants.timebase);
        }
        case SupportedCalibrationModel::TofHpc: {
            const DigitizerConstants& constants = requireDigitizerConstants("tof");
            return getMzTrafoTof1Hpc(row, kRefFirstCoefficient, constants.delay, constants.timebase);
        }
        case SupportedCalibrationModel::Quillon:
            raiseUnsupportedModel("Quillon");
        case SupportedCalibrationModel::Ftms04:
            LUMO_THROW(std::runtime_error("FTMS04 as reference trafo is not supported."));
        case SupportedCalibrationModel::Ftms1356:
            LUMO_THROW(std::runtime_error("FTMS1356 as reference trafo is not supported."));
    }
    return nullptr;  // the enumeration is complete
}

// As for a reference, but the number of a model that does not exist is damage of this frame's row.
CalibrationReaderSqliteImpl::MzTrafoPtr CalibrationReaderSqliteImpl::buildForFrame(
    CppSQLite3Query& row) const {
    const int model = row.getIntField(kModelType);
    switch (static_cast<SupportedCalibrationModel>(model)) {
        case SupportedCalibrationModel::Tof: {
            const DigitizerConstants& constants = requireDigitizerConstants("tof");
            return getMzTrafoTof(row, kFrameFirstCoefficient, constants.delay, constants.timebase);
        }
        case SupportedCalibrationModel::TofHpc: {
            const DigitizerConstants& constants = requireDigitizerConstants("tof hpc");
            return getMzTrafoTof1Hpc(row, kFrameFirstCoefficient, constants.delay, constants.timebase);
        }
        case SupportedCalibrationModel::Quillon:
            raiseUnsupportedModel("Quillon");
        case SupportedCalibrationModel::Ftms04:
            raiseUnsupportedModel("FTMS04");
        case SupportedCalibrationModel::Ftms1356:
            raiseUnsupportedModel("FTMS1356");
    }
    LUMO_THROW(CorruptDataError("Unknown m/z calibration model " + std::to_string(model)));
}

// Mapping and calibration are read in one transaction, so a writer cannot come between the two.
CalibrationReaderSqliteImpl::MzTrafoPtr CalibrationReaderSqliteImpl::loadFrameMzTrafo(std::int64_t frameId) {
    return db->inTransaction([&] {
        const std::optional<std::int64_t> id = frameMapping->calibrationOf(frameId);
        CppSQLite3Query row;
        if (!id || !readerOf(frameMzTable).getCalibratorCoefficients(*id, row)) {
            LUMO_THROW(std::runtime_error("No m/z trafo for id [" + std::to_string(frameId) + "] available"));
        }
        return buildForFrame(row);
    });
}

CalibrationReaderSqliteImpl::MzTrafoPtr CalibrationReaderSqliteImpl::getMzTrafo(std::int64_t frameId) {
    if (!hasFrameCalibrators) {
        LUMO_THROW(
            std::runtime_error("Calibration state " + key + " has no m/z calibrations of single frames."));
    }
    return loadFrameMzTrafo(frameId);
}

CalibrationReaderSqliteImpl::MzTrafoPtr CalibrationReaderSqliteImpl::getMzTrafo(
    std::int64_t frameId, Polarity polarity, const models::Temperatures& measured,
    models::TemperatureCompensation compensation) {
    if (hasFrameCalibrators) {
        // A frame's own calibration was made at the frame's own temperatures. These are noted as its
        // reference, with coefficients of 0, so compensating it once more would change nothing.
        MzTrafoPtr own = loadFrameMzTrafo(frameId);
        models::addTemperatureCompensationInfo(*own, {.reference = measured, .coefficients = {}});
        return own;
    }
    const ReferenceMzTrafo& reference = getRefMzTrafo(polarity);
    const models::Temperatures& coefficients = reference.temperatureInfo.coefficients;
    MzTrafoPtr result = reference.transformator;
    const bool dependsOnTemperature = coefficients.t1 != 0.0 || coefficients.t2 != 0.0;
    if (result && compensation == models::TemperatureCompensation::On && dependsOnTemperature) {
        models::performTemperatureCompensation(result, measured);  // makes a transformator of its own
    }
    return result;
}

std::unique_ptr<models::kova::ITransformator> CalibrationReaderSqliteImpl::getMobTrafo(std::int64_t frameId) {
    return db->inTransaction([&] {
        const std::optional<std::int64_t> id = mobilityMapping->calibrationOf(frameId);
        return id ? kova_calibration::readMobilityTrafo(*id, readerOf(mobilityTable)) : nullptr;
    });
}

// Keys may contain anything; they are quoted.
std::optional<CppSQLite3Query> CalibrationReaderSqliteImpl::getCalibrationInfoValue(Polarity polarity,
                                                                                    const std::string& name) {
    const std::string sign(1, models::signOf(polarity));
    try {
        CppSQLite3Query row = db->execQuery(
            "SELECT Value FROM CalibrationInfo WHERE CalibrationState=" + std::to_string(stateId) +
            " AND KeyPolarity='" + sign + "' AND KeyName=" + sqlLiteral(name));
        return row.eof() ? std::nullopt : std::optional<CppSQLite3Query>(std::move(row));
    } catch (const CppSQLite3Exception& e) {
        LUMO_THROW(CorruptDataError("SQLite error retrieving calibration info " + name + " / " + sign + ": " +
                                    e.what()));
    }
}

}  // namespace lumo::io::calibration
