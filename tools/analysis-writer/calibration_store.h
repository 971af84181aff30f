#pragma once

#include "analysis-writer/coefficient_table.h"
#include "analysis-writer/metadata_records.h"
#include "analysis-writer/sqlite_database.h"

namespace analysis_writer {

// Rows of "calibration.sqlite". `state` is the Id of the calibration state that the row belongs to.

struct CalibrationStateRecord {
    std::int64_t id = 1;
    std::optional<std::string> key = {};
    std::optional<std::string> source = {};
    std::int64_t hasFrameCalibrators = 0;
    std::optional<std::int64_t> positiveReferenceCalibratorId = {};
    std::optional<std::int64_t> negativeReferenceCalibratorId = {};
};

struct RefMzCalibrationRecord {
    std::int64_t state = 1;
    std::int64_t id = 1;
    std::optional<std::int64_t> modelType = 1;
    std::optional<double> t1 = 25.0;
    std::optional<double> t2 = 25.0;
    std::optional<double> dC1 = 0.0;
    std::optional<double> dC2 = 0.0;
    Coefficients coefficients = MzCalibrationRecord().coefficients;
};

struct FrameMzCalibrationRecord {
    std::int64_t state = 1;
    std::int64_t id = 1;
    std::optional<std::int64_t> modelType = 1;
    Coefficients coefficients = MzCalibrationRecord().coefficients;
};

struct LockMassDiagnosticRecord {
    std::int64_t state = 1;
    double lockMass = 0.0;
    double percentFound = 0.0;
    std::vector<double> retentionTimesInSeconds = {};
    std::vector<double> massDeviationInDa = {};
};

struct CalibrationStoreLayout {
    std::size_t mzCoefficientColumns = 5;
    std::size_t kovaCoefficientColumns = 10;
};

// The external calibration database of an analysis. Nothing is visible to readers before commit().
class CalibrationStore {
public:
    // Creates `directory`/calibration.sqlite with all tables and the metadata of schema version 1.0.
    explicit CalibrationStore(const std::filesystem::path& directory,
                              const CalibrationStoreLayout& layout = {});

    void setGlobalMetadatum(const std::string& key, const std::string& value);
    void addState(const CalibrationStateRecord& row);
    void addRefMzCalibration(const RefMzCalibrationRecord& row);
    void addFrameMzCalibration(const FrameMzCalibrationRecord& row);
    void mapFrameMzCalibration(std::int64_t state, std::int64_t frameId, std::int64_t calibrationId);
    void addKovaCalibration(std::int64_t state, const KovaCalibrationRecord& row);
    void mapKovaCalibration(std::int64_t state, std::int64_t frameId, std::int64_t calibrationId);
    void addDigitizerConstants(std::int64_t state, double timebase, double delay);
    void addCalibrationInfo(std::int64_t state, const CalibrationInfoRecord& row);
    void addLockMassDiagnostic(const LockMassDiagnosticRecord& row);

    void execute(const std::string& sql) { database.execute(sql); }
    void commit();

private:
    SqliteDatabase database;
    bool inTransaction = true;
    std::optional<CoefficientTable> refMzCalibration;
    std::optional<CoefficientTable> frameMzCalibration;
    std::optional<CoefficientTable> kovaCalibration;
    std::optional<SqliteStatement> insertMzMapping;
    std::optional<SqliteStatement> insertKovaMapping;
};

}  // namespace analysis_writer
