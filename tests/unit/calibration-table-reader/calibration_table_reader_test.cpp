#include "calibration-table-reader/calibration_table_reader.h"

#include <gtest/gtest.h>

#include "analysis-writer/sqlite_database.h"
#include "calibration-table-reader/calibration_builders.h"
#include "calibration/calibration_transformator_tof.h"
#include "fixtures/failure.h"
#include "fixtures/temp_directory.h"

namespace {

using fixtures::failureOf;
using namespace lumo::io::calibration;
using lumo::calibration::StrategyId;

class CalibrationTable : public testing::Test {
protected:
    CalibrationTable() {
        analysis_writer::SqliteDatabase(directory / "db")
            .execute(
                "CREATE TABLE A (Id, ModelType); CREATE TABLE B (Id, ModelType, CalibrationState);"
                "CREATE TABLE C (Id, ModelType, C0); CREATE TABLE D (Id, ModelType, CalibrationState, C0);"
                "INSERT INTO D VALUES (1, 2, 7, 0.5), (1, 2, 8, 1.5)");
        db.open(directory / "db");
    }

    // Of a row of values as SQL text.
    int strategyOf(const std::string& values, bool hpc) {
        CppSQLite3Query row = db.execQuery("SELECT " + values);
        return (hpc ? getMzTrafoTof1Hpc(row, 0, 24000, 0.2) : getMzTrafoTof(row, 0, 24000, 0.2))
            ->GetStrategyID();
    }

    fixtures::TempDirectory directory;
    CppSQLite3DB db;
};

TEST_F(CalibrationTable, RowsAreThoseOfTheState) {
    const CalibrationTableReader state(db, "D", 0, "", 8);
    CppSQLite3Query row;
    EXPECT_TRUE(state.getCalibratorCoefficients(1, row));
    EXPECT_EQ(row.getFloatField(2), 1.5);
    EXPECT_FALSE(state.getCalibratorCoefficients(2, row));
}

TEST_F(CalibrationTable, TablesTooNarrowAreRefusedAndOthersFailWhenTheyAreFirstUsed) {
    const struct {
        std::string table;
        std::size_t extras;
        std::string names;
        std::optional<int> state;
        std::string made;
        std::string used;
    } cases[] = {
        {"None", 0, "", {}, "Too few columns in table None", ""},
        {"A", 0, "", {}, "Too few columns in table A", ""},
        {"B", 0, "", 1, "Too few columns in table B", ""},
        {"C", 0, "", {}, "none", "none"},
        {"B", 0, "", {}, "none", "no such column: c.C0"},
        {"C", 1, "c.T1, ", {}, "none", "near \"FROM\": syntax error"},
        {"C", 6, "c.C0, c.T2, ", {}, "none", "no such column: c.T2"},
    };
    for (const auto& c : cases) {
        std::optional<CalibrationTableReader> reader;
        EXPECT_EQ(failureOf([&] { reader.emplace(db, c.table, c.extras, c.names, c.state); }), c.made);
        CppSQLite3Query row;
        EXPECT_EQ(reader ? failureOf([&] { reader->getCalibratorCoefficients(1, row); }) : "", c.used);
    }
}

TEST_F(CalibrationTable, CoefficientsDecideOnTheModel) {
    for (const std::string higher : {"", ", 0, 0", ", NULL, NULL", ", -0.0, '0'"}) {
        EXPECT_EQ(strategyOf("300, 160000, 0" + higher, false), StrategyId::kTofQuadratic) << higher;
    }
    for (const std::string higher : {", 1e-9", ", 0, 1e-9"}) {
        EXPECT_EQ(strategyOf("300, 160000, 0" + higher, false), StrategyId::kTof2Cubic) << higher;
    }
    EXPECT_EQ(failureOf([&] { strategyOf("300, 160000", false); }),
              "Calibration model needs 3 coefficient columns, the table has 2.");
}

TEST_F(CalibrationTable, HpcReadsAsManyCoefficientsAsItCounts) {
    const std::string head = "300, 160000, 0, 1, 2, 3, 4";
    for (const std::string count : {"2", "0", "-1", "NULL", "'x'"}) {
        EXPECT_EQ(strategyOf(head + ", " + count + ", 0.5, 0.25", true), StrategyId::kTofQuadraticHpc)
            << count;
    }
    for (const std::string count : {"3", "9223372036854775807", "1e300"}) {
        EXPECT_NE(failureOf([&] { strategyOf(head + ", " + count + ", 0.5, 0.25", true); }), "none") << count;
    }
    EXPECT_EQ(failureOf([&] { strategyOf(head, true); }),
              "Calibration model needs 8 coefficient columns, the table has 7.");
}

TEST_F(CalibrationTable, MobilityRowsAreCheckedInOrder) {
    const std::string negative = "bad numeric conversion: negative overflow";
    const std::string positive = "bad numeric conversion: positive overflow";
    const std::string needed = "Calibration model needs 10 coefficient columns, the table has ";
    const std::pair<std::string, std::string> cases[] = {
        {"-1", negative},
        {"65536, 900, 190, 70, 33, 1, 0.017, 115, 60, 200", positive},
        {"1", needed + "1."},
        {"1, 65536", positive},
        {"1, 900, 70, 70, 33", needed + "5."},
        {"1, 900, 70, 70, 33, 2", "LVR: unsupported degree != 1."},
        {"1, 900, 70, 70, 33, -1", negative},
        {"1, 900, 70, 70, 33, 1, 0.017, 115, 60", needed + "9."},
        {"1, 900, 70, 70, 33, 1, 0.017, 115, 60, 200", "Vend must be != Vstart."},
        {"NULL, 65535, 190, 70, NULL, 1, NULL, 115, 60, 200", "none"},
        {"'a', 900, 'b', x'00', 33, 1, 0.017, 115, 60, 200", "Vend must be != Vstart."},
    };
    for (const auto& [values, text] : cases) {
        CppSQLite3Query row = db.execQuery("SELECT " + values);
        EXPECT_EQ(failureOf([&] { getMobTrafoLvrT4T3(row, 0); }), text) << values;
    }
}

}  // namespace
