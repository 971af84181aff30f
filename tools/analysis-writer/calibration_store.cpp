#include "analysis-writer/calibration_store.h"

// Tables without constraints, so that tests can also write what no program should.
namespace analysis_writer {

namespace {

constexpr const char* kTables = R"(
    CREATE TABLE GlobalMetadata (Key TEXT, Value TEXT);
    CREATE TABLE CalibrationState (Id INTEGER PRIMARY KEY, Key TEXT, Source TEXT, HasFrameCalibrators INTEGER,
        PositiveReferenceCalibratorId INTEGER, NegativeReferenceCalibratorId INTEGER);
    CREATE TABLE FrameMzCalibrationMapping (CalibrationState INTEGER, FrameId INTEGER, FrameMzCalibrationId INTEGER);
    CREATE TABLE KovaCalibrationMapping (CalibrationState INTEGER, FrameId INTEGER, KovaCalibrationId INTEGER);
    CREATE TABLE DigitizerConstants (CalibrationState INTEGER, DigitizerTimebase REAL, DigitizerDelay REAL);
    CREATE TABLE CalibrationInfo (CalibrationState INTEGER, KeyPolarity CHAR(1), KeyName TEXT, Value TEXT);
    CREATE TABLE LcMsLockMassCalibrationDiagnostic (CalibrationState INTEGER, LockMass REAL, PercentFound REAL,
        RetentionTimesInSeconds BLOB, MassDeviationInDa BLOB);
)";

Bytes doubles(const std::vector<double>& values) {
    Bytes bytes;
    for (const double value : values)
        appendF64(bytes, value);
    return bytes;
}

}  // namespace

CalibrationStore::CalibrationStore(const std::filesystem::path& directory,
                                   const CalibrationStoreLayout& layout)
    : database(directory / "calibration.sqlite") {
    database.execute("BEGIN");
    database.execute(kTables);
    const std::string fixed = "Id INTEGER, ModelType INTEGER, CalibrationState INTEGER";
    refMzCalibration.emplace(database, "RefMzCalibration", fixed + ", T1 REAL, T2 REAL, dC1 REAL, dC2 REAL",
                             layout.mzCoefficientColumns);
    frameMzCalibration.emplace(database, "FrameMzCalibration", fixed, layout.mzCoefficientColumns);
    kovaCalibration.emplace(database, "KovaCalibration", fixed, layout.kovaCoefficientColumns);
    insertMzMapping.emplace(database, "INSERT INTO FrameMzCalibrationMapping VALUES (?,?,?)");
    insertKovaMapping.emplace(database, "INSERT INTO KovaCalibrationMapping VALUES (?,?,?)");
    setGlobalMetadatum("SchemaType", "CALIBRATION_SQLITE");
    setGlobalMetadatum("SchemaVersionMajor", "1");
    setGlobalMetadatum("SchemaVersionMinor", "0");
}

void CalibrationStore::setGlobalMetadatum(const std::string& key, const std::string& value) {
    database.run("DELETE FROM GlobalMetadata WHERE Key=?", {key});
    database.run("INSERT INTO GlobalMetadata VALUES (?,?)", {key, value});
}

void CalibrationStore::addState(const CalibrationStateRecord& row) {
    database.run("INSERT INTO CalibrationState VALUES (?,?,?,?,?,?)",
                 {row.id, sqlValue(row.key), sqlValue(row.source), row.hasFrameCalibrators,
                  sqlValue(row.positiveReferenceCalibratorId), sqlValue(row.negativeReferenceCalibratorId)});
}

void CalibrationStore::addRefMzCalibration(const RefMzCalibrationRecord& row) {
    refMzCalibration->insert({row.id, sqlValue(row.modelType), row.state, sqlValue(row.t1), sqlValue(row.t2),
                              sqlValue(row.dC1), sqlValue(row.dC2)},
                             row.coefficients);
}

void CalibrationStore::addFrameMzCalibration(const FrameMzCalibrationRecord& row) {
    frameMzCalibration->insert({row.id, sqlValue(row.modelType), row.state}, row.coefficients);
}

void CalibrationStore::mapFrameMzCalibration(std::int64_t state, std::int64_t frameId,
                                             std::int64_t calibrationId) {
    insertMzMapping->run({state, frameId, calibrationId});
}

void CalibrationStore::addKovaCalibration(std::int64_t state, const KovaCalibrationRecord& row) {
    kovaCalibration->insert({row.id, sqlValue(row.modelType), state}, row.coefficients);
}

void CalibrationStore::mapKovaCalibration(std::int64_t state, std::int64_t frameId,
                                          std::int64_t calibrationId) {
    insertKovaMapping->run({state, frameId, calibrationId});
}

void CalibrationStore::addDigitizerConstants(std::int64_t state, double timebase, double delay) {
    database.run("INSERT INTO DigitizerConstants VALUES (?,?,?)", {state, timebase, delay});
}

void CalibrationStore::addCalibrationInfo(std::int64_t state, const CalibrationInfoRecord& row) {
    database.run("INSERT INTO CalibrationInfo VALUES (?,?,?,?)", {state, row.polarity, row.name, row.value});
}

void CalibrationStore::addLockMassDiagnostic(const LockMassDiagnosticRecord& row) {
    database.run("INSERT INTO LcMsLockMassCalibrationDiagnostic VALUES (?,?,?,?,?)",
                 {row.state, row.lockMass, row.percentFound, doubles(row.retentionTimesInSeconds),
                  doubles(row.massDeviationInDa)});
}

void CalibrationStore::commit() {
    if (inTransaction)
        database.execute("COMMIT");
    inTransaction = false;
}

}  // namespace analysis_writer
