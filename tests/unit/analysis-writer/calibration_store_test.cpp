#include "analysis-writer/calibration_store.h"

#include <gtest/gtest.h>

#include "fixtures/sqlite_rows.h"
#include "fixtures/temp_directory.h"

namespace analysis_writer {
namespace {

using fixtures::sqliteRows;
using Rows = std::vector<std::string>;

TEST(CalibrationStore, KeepsStatesApart) {
    const fixtures::TempDirectory directory;
    CalibrationStore store(directory.path());
    for (const std::int64_t state : {1, 2}) {
        store.addState(
            {.id = state, .key = "key" + std::to_string(state), .positiveReferenceCalibratorId = 5});
        store.addRefMzCalibration(
            {.state = state, .id = 5, .coefficients = {10.0 * static_cast<double>(state)}});
        store.addKovaCalibration(state, {.id = 3});
        store.mapKovaCalibration(state, 7, 3);
        store.addDigitizerConstants(state, 0.5, 100.0 + static_cast<double>(state));
    }
    store.addFrameMzCalibration({.state = 2, .id = 4});
    store.mapFrameMzCalibration(2, 7, 4);
    store.addLockMassDiagnostic(
        {.state = 2, .lockMass = 622.5, .percentFound = 99.0, .retentionTimesInSeconds = {1.0}});
    store.commit();

    const auto path = directory / "calibration.sqlite";
    EXPECT_EQ(sqliteRows(path, "SELECT Key, Value FROM GlobalMetadata"),
              (Rows{"SchemaType|CALIBRATION_SQLITE", "SchemaVersionMajor|1", "SchemaVersionMinor|0"}));
    EXPECT_EQ(sqliteRows(path, "SELECT * FROM CalibrationState"),
              (Rows{"1|key1|NULL|0|5|NULL", "2|key2|NULL|0|5|NULL"}));
    EXPECT_EQ(sqliteRows(path, "SELECT CalibrationState, Id, ModelType, C0, C1 FROM RefMzCalibration"),
              (Rows{"1|5|1|10.0|NULL", "2|5|1|20.0|NULL"}));
    EXPECT_EQ(sqliteRows(path, "SELECT DigitizerTimebase, DigitizerDelay FROM DigitizerConstants"),
              (Rows{"0.5|101.0", "0.5|102.0"}));
    EXPECT_EQ(
        sqliteRows(path,
                   "SELECT CalibrationState, FrameId, FrameMzCalibrationId FROM FrameMzCalibrationMapping"),
        Rows{"2|7|4"});
    EXPECT_EQ(sqliteRows(path, "SELECT hex(RetentionTimesInSeconds) FROM LcMsLockMassCalibrationDiagnostic"),
              Rows{"000000000000F03F"});
}

// Readers derive the number of coefficients from the table's width: fixed columns plus these.
TEST(CalibrationStore, TablesHaveTheWidthsReadersCountOn) {
    const fixtures::TempDirectory directory;
    CalibrationStore(directory.path(), {.mzCoefficientColumns = 9}).commit();
    EXPECT_EQ(
        sqliteRows(
            directory / "calibration.sqlite",
            "SELECT (SELECT COUNT(*) FROM pragma_table_info('RefMzCalibration')), (SELECT COUNT(*) FROM "
            "pragma_table_info('FrameMzCalibration')), (SELECT COUNT(*) FROM "
            "pragma_table_info('KovaCalibration'))"),
        Rows{"16|12|13"});
}

}  // namespace
}  // namespace analysis_writer
