#include "calibration-state/calibration_reader_sqlite.h"

#include <functional>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "analysis-writer/calibration_store.h"
#include "calibration/i_calibration_transformator.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/failure.h"
#include "fixtures/temp_directory.h"
#include "kova-data-reader/kvd_reader.h"

namespace {

using analysis_writer::CalibrationStore;
using fixtures::failureOf;
using lumo::calibration::Polarity;
using Compensation = lumo::calibration::TemperatureCompensation;
using lumo::io::calibration::CalibrationReaderSqlite;
using lumo::io::calibration::CalibrationStateSelector;
using lumo::io::calibration::getCalibrationFile;
using lumo::io::kova::KvdReader;

analysis_writer::Coefficients withC1(double c1) {
    analysis_writer::Coefficients coefficients = analysis_writer::RefMzCalibrationRecord().coefficients;
    coefficients[1] = c1;
    return coefficients;
}

// m/z of index 100000 tells calibrations apart.
double massOf(const KvdReader::MzTrafoPtr& trafo) { return trafo ? trafo->DIndexToMass(100'000.0) : -1.0; }

class Store : public testing::Test {
protected:
    using Change = std::function<void(CalibrationStore&)>;
    Store() { fixtures::AnalysisBuilder().frame({}).frame({}, {.polarity = "-"}).write(directory.path()); }

    // Builds the store from one state "k" with reference calibrations, then what the test adds or damages.
    void write(const Change& change, bool frameCalibrators = false, bool constants = true) {
        std::filesystem::remove(directory / "calibration.sqlite");
        CalibrationStore store(directory.path());
        store.addState({1, "k", "s", frameCalibrators ? 1 : 0, 1, 2});
        if (constants) {
            store.addDigitizerConstants(1, 0.2, 24000.0);
        }
        store.mapKovaCalibration(1, 1, 1);
        store.mapKovaCalibration(1, 2, 1);
        store.addKovaCalibration(1, {});
        change(store);
        store.commit();
    }

    static void addReferences(CalibrationStore& store) {
        store.addRefMzCalibration({.id = 1, .coefficients = withC1(161'000.0)});
        store.addRefMzCalibration({.id = 2, .coefficients = withC1(162'000.0)});
    }

    CalibrationReaderSqlite open() {
        return *CalibrationReaderSqlite::getCalibrationReaderSqlite(getCalibrationFile(directory.path()),
                                                                    CalibrationStateSelector::useByUUID("k"),
                                                                    lumo::io::kova::AnalysisFormat::Mobility);
    }

    KvdReader read(const CalibrationStateSelector& selector) { return KvdReader(directory.path(), selector); }

    fixtures::TempDirectory directory;
};

TEST_F(Store, ReferencesServeEachPolarityOfTheAnalysis) {
    write(addReferences);
    const KvdReader own(directory.path());
    const KvdReader recalibrated = read(CalibrationStateSelector::useLast());
    EXPECT_TRUE(recalibrated.usingStateFromCalibrationFile());
    EXPECT_EQ(recalibrated.getCalibrationStateId(), "k");
    EXPECT_EQ(massOf(recalibrated.getMzTrafo(1, Compensation::On)),
              massOf(recalibrated.getReferenceMzTrafo(Polarity::Positive)));
    EXPECT_EQ(massOf(recalibrated.getMzTrafo(2, Compensation::On)),
              massOf(recalibrated.getReferenceMzTrafo(Polarity::Negative)));
    EXPECT_NE(massOf(recalibrated.getMzTrafo(1, Compensation::On)),
              massOf(recalibrated.getMzTrafo(2, Compensation::On)));
    EXPECT_EQ(massOf(recalibrated.getRawMzTrafo(1, Compensation::On)),
              massOf(own.getMzTrafo(1, Compensation::On)));
    EXPECT_EQ(failureOf([&] { recalibrated.getMzTrafo(99, Compensation::On); }), "Frame 99 does not exist.");
    EXPECT_NE(recalibrated.getMobTrafo(1), nullptr);
    EXPECT_EQ(recalibrated.getMobTrafo(99), nullptr);
}

TEST_F(Store, TemperaturesAreCompensatedUnlessRaw) {
    write([](CalibrationStore& store) {
        store.addRefMzCalibration({.id = 1, .t1 = 20.0, .t2 = 25.0, .dC1 = 10.0, .dC2 = 0.0});
        store.addRefMzCalibration({.id = 2});
    });
    const CalibrationReaderSqlite store = open();
    const double reference = massOf(store.getReferenceMzTrafo(Polarity::Positive));
    EXPECT_EQ(massOf(store.getMzTrafo(1, Polarity::Positive, 30.0, 25.0, Compensation::Off)), reference);
    EXPECT_EQ(massOf(store.getMzTrafo(1, Polarity::Positive, 20.0, 25.0, Compensation::On)), reference);
    const double warmer = massOf(store.getMzTrafo(1, Polarity::Positive, 30.0, 25.0, Compensation::On));
    EXPECT_NEAR(warmer / reference - 1.0, 100e-6, 5e-6);  // masses go with C1, here up by 10 ppm/K * 10 K
    EXPECT_EQ(massOf(store.getReferenceMzTrafo(Polarity::Positive)), reference)
        << "the reference must stay as it is";
    EXPECT_EQ(massOf(store.getMzTrafo(1, Polarity::Negative, 30.0, 25.0, Compensation::On)),
              massOf(store.getReferenceMzTrafo(Polarity::Negative)));
}

TEST_F(Store, FramesWithCalibratorsOfTheirOwn) {
    write(
        [](CalibrationStore& store) {
            addReferences(store);
            store.addFrameMzCalibration({.id = 10, .coefficients = withC1(163'000.0)});
            store.mapFrameMzCalibration(1, 1, 10);
            store.mapFrameMzCalibration(1, 2, 99);
            store.execute(
                "ALTER TABLE FrameMzCalibrationMapping RENAME TO O; ALTER TABLE O RENAME TO "
                "FRAMEmzCalibrationMapping;"
                "ALTER TABLE KovaCalibrationMapping RENAME TO O; ALTER TABLE O RENAME TO "
                "kovaCalibrationMAPPING");
        },
        true);
    const CalibrationReaderSqlite store = open();
    EXPECT_NE(store.getMobTrafo(1), nullptr) << "tables are found in any case of letters";
    EXPECT_TRUE(store.hasFrameMzTrafos());
    EXPECT_EQ(massOf(store.getMzTrafo(1)),
              massOf(store.getMzTrafo(1, Polarity::Positive, 1.0, 2.0, Compensation::On)));
    EXPECT_NE(massOf(store.getMzTrafo(1)), massOf(store.getReferenceMzTrafo(Polarity::Positive)));
    EXPECT_EQ(failureOf([&] { store.getMzTrafo(2); }), "No m/z trafo for id [2] available");
    EXPECT_EQ(failureOf([&] { store.getMzTrafo(3); }), "No m/z trafo for id [3] available");
}

TEST_F(Store, ModelsThatCannotBeUsedAreNamed) {
    const std::string noConstants = "Missing digitizer constants, unable to load tof";
    const std::string model = "m/z calibration model ";
    const struct {
        std::int64_t model;
        std::string reference;
        std::string frame;
    } cases[] = {
        {1, noConstants + " m/z transformators", noConstants + " m/z transformators"},
        {2, noConstants + " m/z transformators", noConstants + " hpc m/z transformators"},
        {3, model + "Quillon is not supported.", model + "Quillon is not supported."},
        {4, "FTMS04 as reference trafo is not supported.", model + "FTMS04 is not supported."},
        {5, "FTMS1356 as reference trafo is not supported.", model + "FTMS1356 is not supported."},
        {0, "Unknown m / z calibration model 0", "Unknown m/z calibration model 0"},
        {6, "Unknown m / z calibration model 6", "Unknown m/z calibration model 6"},
    };
    for (const auto& c : cases) {
        write(
            [&](CalibrationStore& store) {
                store.addRefMzCalibration({.id = 1, .modelType = c.model});
                store.addFrameMzCalibration({.id = 10, .modelType = c.model});
                store.mapFrameMzCalibration(1, 1, 10);
            },
            true, false);
        const CalibrationReaderSqlite store = open();
        EXPECT_EQ(failureOf([&] { store.getReferenceMzTrafo(Polarity::Positive); }), c.reference);
        EXPECT_EQ(failureOf([&] { store.getMzTrafo(1); }), c.frame);
        EXPECT_EQ(failureOf([&] { store.getReferenceMzTrafo(Polarity::Negative); }),
                  "Calibration state k has no reference m/z calibration 2 for negative polarity.");
    }
}

TEST_F(Store, BrokenStoresFailTheOpenWithTheirTexts) {
    const std::pair<const char*, const char*> cases[] = {
        {"UPDATE GlobalMetadata SET Value='KVD' WHERE Key='SchemaType'", "Schema type 'KVD' not supported"},
        {"UPDATE GlobalMetadata SET Value='2' WHERE Key='SchemaVersionMajor'",
         "calibration schema version 2.0 not supported."},
        {"DROP TABLE CalibrationState", "no such table: CalibrationState"},
        {"DROP TABLE RefMzCalibration", "Too few columns in table RefMzCalibration"},
        {"DROP TABLE KovaCalibration", "Too few columns in table KovaCalibration"},
        {"UPDATE CalibrationState SET HasFrameCalibrators=1; DROP TABLE FrameMzCalibration",
         "Too few columns in table FrameMzCalibration"},
        {"UPDATE CalibrationState SET HasFrameCalibrators=1; DROP TABLE RefMzCalibration", "none"},
        {"DROP TABLE FrameMzCalibration; ALTER TABLE FrameMzCalibrationMapping RENAME COLUMN FrameId TO F;"
         "ALTER TABLE KovaCalibrationMapping RENAME COLUMN FrameId TO F",
         "none"},
        {"DROP TABLE DigitizerConstants", "no such table: DigitizerConstants"},
        {"INSERT INTO CalibrationState VALUES (7,'k','s',0,1,1)",
         "Requested calibration state k does not exist"},
        {"UPDATE CalibrationState SET HasFrameCalibrators=NULL",
         "Query result unexpectedly NULL: SELECT HasFrameCalibrators FROM CalibrationState WHERE Id=1"},
    };
    for (const auto& [damage, text] : cases) {
        write([sql = damage](CalibrationStore& store) { store.execute(sql); });
        EXPECT_EQ(failureOf([&] { read(CalibrationStateSelector::useByUUID("k")); }), text);
    }
}

TEST_F(Store, MissingMappingTablesCountAsNoMapping) {
    write(
        [](CalibrationStore& store) {
            store.execute("DROP TABLE KovaCalibrationMapping; DROP TABLE FrameMzCalibrationMapping");
        },
        true);
    EXPECT_EQ(open().getMobTrafo(1), nullptr);
    EXPECT_EQ(failureOf([&] { open().getMzTrafo(1); }), "No m/z trafo for id [1] available");
    EXPECT_EQ(failureOf([&] { read(CalibrationStateSelector::useLast()); }),
              "no such table: FrameMzCalibrationMapping");
}

TEST_F(Store, RequestsThatFindNothingFallBackOrFail) {
    EXPECT_FALSE(read(CalibrationStateSelector::useByUUID("k")).usingStateFromCalibrationFile());
    write([](CalibrationStore& store) { store.execute("DELETE FROM CalibrationState"); });
    for (const auto& selector :
         {CalibrationStateSelector::useLast(), CalibrationStateSelector::useLastIncomplete("s")}) {
        EXPECT_FALSE(read(selector).usingStateFromCalibrationFile());
    }
    EXPECT_EQ(failureOf([&] { read(CalibrationStateSelector::useByUUID("k")); }),
              "Requested uuid k not found in calibration.sqlite");
    std::filesystem::remove(directory / "analysis.kvd");
    std::filesystem::remove(directory / "analysis.kvd_bin");
    fixtures::AnalysisBuilder().write(directory.path());
    EXPECT_EQ(failureOf([&] { read(CalibrationStateSelector::useLast()); }),
              "Unexpectly missing frame polarity information!");
}

TEST_F(Store, InformationAndDiagnostics) {
    write([](CalibrationStore& store) {
        store.addCalibrationInfo(1, {.polarity = "+", .name = "it's", .value = "fine"});
        store.addLockMassDiagnostic({1, 622.029, 98.5, {1.5, 2.5}, {1e-3, -2e-3}});
        store.execute(
            "INSERT INTO LcMsLockMassCalibrationDiagnostic VALUES (1, 922.0098, 50, '1, 2;3', ' 0.5 1e-3,-2 "
            "'), (1, 1, 0, NULL, NULL)");
    });
    const CalibrationReaderSqlite store = open();
    EXPECT_EQ(store.getCalibrationInfoString(Polarity::Positive, "it's"), "fine");
    EXPECT_EQ(store.getCalibrationInfoString(Polarity::Negative, "it's"), std::nullopt);
    EXPECT_EQ(store.getCalibrationInfoBlob(Polarity::Positive, "it's")->size(), 4U);
    const auto records = store.getLockMassCalibrationDiagnostics();
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[0].massDeviationInDa, (std::vector<double>{1e-3, -2e-3}));
    EXPECT_EQ(records[1].retentionTimesInSeconds, (std::vector<double>{1.0, 2.0, 3.0}));
    EXPECT_EQ(records[1].massDeviationInDa, (std::vector<double>{0.5, 1e-3, -2.0}));
    EXPECT_TRUE(records[2].retentionTimesInSeconds.empty());
    for (const char* series : {"'1,x'", "'1.2.3'", "x'000000'", "'1'"}) {
        write([&](CalibrationStore& damaged) {
            damaged.execute(
                std::string("INSERT INTO LcMsLockMassCalibrationDiagnostic VALUES (1,1,1,'1 2',") + series +
                ")");
        });
        EXPECT_NE(failureOf([&] { open().getLockMassCalibrationDiagnostics(); }), "none") << series;
    }
    write([](CalibrationStore& absurd) {
        absurd.execute(
            "ALTER TABLE CalibrationInfo DROP COLUMN Value;"
            "ALTER TABLE CalibrationInfo ADD COLUMN Value AS (zeroblob(16000000))");
        absurd.execute("INSERT INTO CalibrationInfo VALUES (1, '+', 'zeros')");
    });
    const CalibrationReaderSqlite zeros = open();
    sqlite3_hard_heap_limit64(sqlite3_memory_used() + (1 << 20));
    EXPECT_EQ(failureOf([&] { zeros.getCalibrationInfoBlob(Polarity::Positive, "zeros"); }), "out of memory");
    sqlite3_hard_heap_limit64(0);
    EXPECT_EQ(zeros.getCalibrationInfoBlob(Polarity::Positive, "zeros")->size(), 16'000'000U);
}

}  // namespace
