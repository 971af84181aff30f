#include "calibration-table-reader/calibration_table_reader.h"

#include <functional>

#include <gtest/gtest.h>

#include "analysis-writer/sqlite_database.h"
#include "calibration-table-reader/calibration_builders.h"
#include "calibration-table-reader/mobility_calibration.h"
#include "calibration/calibration_transformator_tof.h"
#include "fixtures/failure.h"
#include "fixtures/temp_directory.h"

namespace {

using fixtures::failureOf;
using namespace lumo::io::calibration;
using lumo::calibration::StrategyId;

constexpr const char* kExtra = "c.DigitizerTimebase, c.DigitizerDelay, c.T1, c.T2, c.dC1, c.dC2, ";

class CalibrationTable : public testing::Test {
protected:
    void create(const std::string& sql) {
        db.close();
        std::filesystem::remove(directory / "db");
        analysis_writer::SqliteDatabase(directory / "db").execute(sql);
        db.open(directory / "db");
    }

    // "MzCalibration" with one row of these coefficients, from SQL text.
    void createMz(int model, const std::vector<std::string>& coefficients) {
        std::string columns;
        std::string values;
        for (std::size_t i = 0; i < coefficients.size(); ++i) {
            columns += ", C" + std::to_string(i);
            values += ", " + coefficients[i];
        }
        create(
            "CREATE TABLE MzCalibration (Id, ModelType, DigitizerTimebase, DigitizerDelay, T1, T2, dC1, dC2" +
            columns + "); INSERT INTO MzCalibration VALUES (1, " + std::to_string(model) +
            ", 0.2, 24000, 0, 0, 0, 0" + values + ")");
    }

    int strategyOfMz(int model) {
        const CalibrationTableReader table(db, "MzCalibration", 6, kExtra, std::nullopt);
        CppSQLite3Query row;
        EXPECT_TRUE(table.getCalibratorCoefficients(1, row));
        return (model == 1 ? getMzTrafoTof(row, 8, 24000, 0.2) : getMzTrafoTof1Hpc(row, 8, 24000, 0.2))
            ->GetStrategyID();
    }

    fixtures::TempDirectory directory;
    CppSQLite3DB db;
};

TEST_F(CalibrationTable, QueriesNameAliasedColumns) {
    EXPECT_EQ(getCalibCoeffColumnList(0), "");
    EXPECT_EQ(getCalibCoeffColumnList(1), "c.C0");
    EXPECT_EQ(getCalibCoeffColumnList(3), "c.C0, c.C1, c.C2");
    createMz(1, {"300", "160000", "0", "0", "0"});
    const CalibrationTableReader table(db, "MzCalibration", 6, kExtra, std::nullopt);
    EXPECT_EQ(table.getNumCoefficientColumns(), 5U);
    EXPECT_EQ(table.getQueryPrefix(),
              "SELECT c.Id, c.ModelType, c.DigitizerTimebase, c.DigitizerDelay, c.T1, c.T2, c.dC1, c.dC2, "
              "c.C0, c.C1, c.C2, "
              "c.C3, c.C4 FROM MzCalibration c WHERE c.Id = ");
    create(
        "CREATE TABLE K (Id, ModelType, CalibrationState, C0); INSERT INTO K VALUES (1, 2, 7, 0.5), (1, 2, "
        "8, 1.5)");
    const CalibrationTableReader state(db, "K", 0, "", 8);
    EXPECT_EQ(state.getQueryPrefix(),
              "SELECT c.Id, c.ModelType, c.C0 FROM K c WHERE c.CalibrationState=8 AND c.Id = ");
    CppSQLite3Query row;
    EXPECT_TRUE(state.getCalibratorCoefficients(1, row));
    EXPECT_EQ(row.getFloatField(2), 1.5);
    EXPECT_FALSE(state.getCalibratorCoefficients(2, row));
}

TEST_F(CalibrationTable, TablesTooNarrowAreRefused) {
    create(
        "CREATE TABLE A (Id, ModelType); CREATE TABLE B (Id, ModelType, CalibrationState);"
        "CREATE TABLE C (Id, ModelType, C0); CREATE TABLE D (Id, ModelType, Other, C0)");
    const auto failure = [&](const char* table, std::size_t extra, const char* columns,
                             std::optional<int> state) {
        return failureOf([&] {
            CppSQLite3Query row;
            CalibrationTableReader(db, table, extra, columns, state).getCalibratorCoefficients(1, row);
        });
    };
    EXPECT_EQ(failure("None", 0, "", {}), "Too few columns in table None");
    EXPECT_EQ(failure("A", 0, "", {}), "Too few columns in table A");
    EXPECT_EQ(failure("B", 0, "", 1), "Too few columns in table B");
    EXPECT_EQ(failure("C", 6, kExtra, {}), "Too few columns in table C") << "a count must not wrap";
    EXPECT_EQ(failure("D", 1, "c.T1, ", {}), "no such column: c.T1");
    EXPECT_EQ(failure("C", 0, "", {}), "none");
}

TEST_F(CalibrationTable, CoefficientsDecideOnTheModel) {
    struct Case {
        std::vector<std::string> coefficients;
        int strategy;
    };
    const Case cases[] = {{{"300", "160000", "0"}, StrategyId::kTofQuadratic},
                          {{"300", "160000", "0", "0", "0"}, StrategyId::kTofQuadratic},
                          {{"300", "160000", "0", "NULL", "NULL"}, StrategyId::kTofQuadratic},
                          {{"300", "160000", "0", "-0.0", "'0'"}, StrategyId::kTofQuadratic},
                          {{"300", "160000", "0", "1e-9"}, StrategyId::kTof2Cubic},
                          {{"300", "160000", "0", "0", "1e-9"}, StrategyId::kTof2Cubic}};
    for (const Case& c : cases) {
        createMz(1, c.coefficients);
        EXPECT_EQ(strategyOfMz(1), c.strategy) << c.coefficients.size();
    }
    createMz(1, {"300", "160000"});
    EXPECT_EQ(failureOf([&] { strategyOfMz(1); }),
              "Calibration model needs 3 coefficient columns, the table has 2.");
}

TEST_F(CalibrationTable, HpcReadsAsManyCoefficientsAsItCounts) {
    createMz(2, {"300", "160000", "0", "1", "2", "3", "4", "2", "0.5", "0.25"});
    EXPECT_EQ(strategyOfMz(2), StrategyId::kTofQuadraticHpc);
    for (const char* count : {"3", "9223372036854775807", "1e300"}) {
        createMz(2, {"300", "160000", "0", "1", "2", "3", "4", count, "0.5", "0.25"});
        EXPECT_NE(failureOf([&] { strategyOfMz(2); }), "none") << count;
    }
    for (const char* count : {"0", "-1", "NULL", "'x'", "-9223372036854775808"}) {
        createMz(2, {"300", "160000", "0", "1", "2", "3", "4", count});
        EXPECT_EQ(strategyOfMz(2), StrategyId::kTofQuadraticHpc) << count;
    }
    createMz(2, {"300", "160000", "0", "1", "2", "3", "4"});
    EXPECT_EQ(failureOf([&] { strategyOfMz(2); }),
              "Calibration model needs 8 coefficient columns, the table has 7.");
}

struct RampCase {
    const char* values;
    const char* text;
};

TEST_F(CalibrationTable, MobilityRowsAreCheckedInOrder) {
    const RampCase cases[] = {
        {"2, 1, 900, 190, 70, 33, 1, 0.017, 115, 60, 200", "none"},
        {"3, -1, 900, 190, 70, 33, 1, 0.017, 115, 60, 200", "Unknown KOVA calibration model 3"},
        {"2, -1, 70000, 190, 70, 33, 2, 0.017, 115, 60, 200", "bad numeric conversion: negative overflow"},
        {"2, 65536, 900, 190, 70, 33, 1, 0.017, 115, 60, 200", "bad numeric conversion: positive overflow"},
        {"2, 1, 65536, 190, 70, 33, 2, 0.017, 115, 60, 200", "bad numeric conversion: positive overflow"},
        {"2, 1, 900, 70, 70, 33, 2, 0.017, 115, 60, 200", "LVR: unsupported degree != 1."},
        {"2, 1, 900, 70, 70, 33, -1, 0.017, 115, 60, 200", "bad numeric conversion: negative overflow"},
        {"2, 1, 900, 70, 70, 33, 1, 0.017, 115, 60, 200", "Vend must be != Vstart."},
        {"2, 1, 0, 190, 70, 33, 1, 0.017, 115, 60, 200", "ncycles must be > 0."},
        {"2, 1, 900, 190, 70, 33, 1, 0.017, 115, 200, 60", "vmax must be larger than vmin."},
        {"2, NULL, 900, 190, 70, NULL, 1, NULL, 115, 60, 200", "none"},
        {"2, 'a', 900, 'b', x'00', 33, 1, 0.017, 115, 60, 200", "Vend must be != Vstart."},
    };
    for (const RampCase& c : cases) {
        create(std::string("CREATE TABLE K (Id, ModelType, C0, C1, C2, C3, C4, C5, C6, C7, C8, C9);"
                           "INSERT INTO K VALUES (5, ") +
               c.values + ")");
        const CalibrationTableReader table(db, "K", 0, "", std::nullopt);
        EXPECT_EQ(failureOf([&] { lumo::io::kova_calibration::readMobilityTrafo(5, table); }), c.text)
            << c.values;
        EXPECT_EQ(lumo::io::kova_calibration::readMobilityTrafo(6, table), nullptr);
    }
}

TEST(SupportedCalibrationModels, OneToFive) {
    for (int model = 1; model <= 5; ++model) {
        EXPECT_EQ(static_cast<int>(supportedCalibrationModelsFromInt(model)), model);
    }
    for (const int model : {0, 6, -1}) {
        EXPECT_EQ(failureOf([&] { supportedCalibrationModelsFromInt(model); }),
                  "Unknown m / z calibration model " + std::to_string(model));
    }
}

}  // namespace
