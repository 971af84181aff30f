#include "fixtures/failure.h"
#include "kvd-calibration-reader/kvd_calibration_reader_impl.h"

#include <gtest/gtest.h>

#include "calibration/measurement_mode_info.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/temp_directory.h"
#include "fixtures/writer_process.h"

namespace {

using fixtures::AnalysisBuilder;
using fixtures::failureOf;
using lumo::calibration::Polarity;
using Compensation = lumo::calibration::TemperatureCompensation;
using lumo::io::kova::AnalysisFormat;
using lumo::io::kova_calibration::KvdCalibrationReaderImpl;

class CalibrationReader : public testing::Test {
protected:
    // Of an analysis in a directory of its own.
    KvdCalibrationReaderImpl open(const AnalysisBuilder& builder,
                                  AnalysisFormat format = AnalysisFormat::Mobility) {
        return {opened(builder.write(directory / std::to_string(++analyses)) / "analysis.kvd"), format};
    }

    static std::shared_ptr<CppSQLite3DB> opened(const std::filesystem::path& database) {
        auto db = std::make_shared<CppSQLite3DB>();
        db->open(database);
        return db;
    }

    fixtures::TempDirectory directory;
    int analyses = 0;
};

TEST_F(CalibrationReader, CompensationFollowsTheFramesTemperatures) {
    AnalysisBuilder builder;
    builder.frame({}, {.t1 = 30.0, .t2 = 25.0}).frame({}, {.t1 = 25.0, .t2 = 25.0});
    builder.frame({}, {.t1 = std::nullopt, .t2 = 25.0}).frame({}, {.t1 = 30.0, .mzCalibration = 2});
    builder.mzCalibration({.dC1 = 2.0}).mzCalibration({.id = 2});
    const KvdCalibrationReaderImpl reader = open(builder);
    const auto mass = [&](std::int64_t frame, Compensation compensation) {
        return reader.getMzTrafo(frame, compensation)->DIndexToMass(100'000.0);
    };
    const double plain = mass(1, Compensation::Off);
    EXPECT_EQ(mass(2, Compensation::On), plain) << "at the reference temperatures";
    EXPECT_NEAR((mass(1, Compensation::On) / plain - 1.0) * 1e6, 2.0 * 5.0, 0.5);
    EXPECT_NEAR((mass(3, Compensation::On) / plain - 1.0) * 1e6, 2.0 * -25.0, 2.0)
        << "a missing temperature reads as 0";
    EXPECT_EQ(mass(4, Compensation::On), mass(4, Compensation::Off))
        << "coefficients of 0 change nothing, not even a bit";
}

// Rows are kept, but only as long as nobody writes.
TEST_F(CalibrationReader, SeesWhatAWriterChanges) {
    AnalysisBuilder builder;
    builder.frame({}).mzCalibration({.dC1 = 2.0}).mzCalibration({.id = 2}).kovaCalibration({});
    builder.sql(
        "CREATE TABLE T AS SELECT * FROM KovaCalibration; UPDATE T SET Id=2, C2=C2+5; "
        "INSERT INTO KovaCalibration SELECT * FROM T");
    const KvdCalibrationReaderImpl reader = open(builder);
    const auto conversions = [](const KvdCalibrationReaderImpl& by) {
        return std::pair(by.getMzTrafo(1, Compensation::On)->DIndexToMass(100'000.0),
                         by.getMobTrafo(1)->scanNumberToOneOverK0(100.0));
    };
    const std::filesystem::path database = directory / "1" / "analysis.kvd";
    fixtures::WriterProcess writer(database);
    for (const char* const change :
         {"Frames SET T1=T1+5", "Frames SET MzCalibration=2", "MzCalibration SET C1=1.1*C1",
          "Frames SET KovaCalibration=2", "KovaCalibration SET C2=C2+1"}) {
        const auto before = conversions(reader);
        ASSERT_EQ(writer.execute("UPDATE " + std::string(change)), "");
        const auto now = conversions(reader);
        EXPECT_NE(now, before) << change;
        EXPECT_EQ(now, conversions(KvdCalibrationReaderImpl(opened(database), AnalysisFormat::Mobility)));
    }
}

TEST_F(CalibrationReader, ReferenceNeedsExactlyOneCalibrationPerPolarity) {
    AnalysisBuilder builder;
    builder.frame({}).frame({}).frame({}, {.polarity = "-"}).frame({}, {.polarity = "-", .mzCalibration = 2});
    builder.mzCalibration({}).mzCalibration({.id = 2});
    const KvdCalibrationReaderImpl reader = open(builder);
    EXPECT_TRUE(
        reader.getReferenceMzTrafo(Polarity::Positive)->Equals(reader.getMzTrafo(1, Compensation::Off)));
    EXPECT_EQ(reader.getMzTrafo(1, Compensation::Off)->GetMeasurementModeInfo()->GetPolarity(), 0);
    EXPECT_NE(reader.getMzTrafo(3, Compensation::Off)->GetMeasurementModeInfo()->GetPolarity(), 0);
    EXPECT_EQ(
        failureOf([&] { reader.getReferenceMzTrafo(Polarity::Negative); }),
        "Multiple m/z calibrations available for specified polarity, no reference calibrator available.");
    const KvdCalibrationReaderImpl empty = open(AnalysisBuilder().frame({}, {.mzCalibration = std::nullopt}));
    for (const auto polarity : {Polarity::Positive, Polarity::Negative}) {
        EXPECT_EQ(failureOf([&] { empty.getReferenceMzTrafo(polarity); }),
                  "No m/z calibration available for specified polarity.");
    }
}

TEST_F(CalibrationReader, UnknownModelsAndMissingMobility) {
    AnalysisBuilder builder;
    builder.frame({}).mzCalibration({.modelType = 3}).kovaCalibration({.modelType = 3});
    EXPECT_EQ(failureOf([&] { open(builder).getMzTrafo(1, Compensation::On); }),
              "Unknown m/z calibration model 3");
    EXPECT_EQ(failureOf([&] { open(builder).getMobTrafo(1); }), "Unknown KOVA calibration model 3");
    const AnalysisBuilder twice = AnalysisBuilder(builder).sql(
        "ALTER TABLE Frames RENAME TO F; CREATE VIEW Frames AS SELECT * FROM F UNION ALL SELECT * FROM F");
    for (const char* const damage : {"SELECT 1", "ALTER TABLE KovaCalibration RENAME COLUMN C1 TO X"}) {
        EXPECT_EQ(failureOf([&] { open(AnalysisBuilder(twice).sql(damage)).getMobTrafo(1); }),
                  "Query resulted in more than one result: SELECT KovaCalibration FROM Frames WHERE Id=1");
    }
    const AnalysisBuilder other = AnalysisBuilder().frame({}).withoutTable("KovaCalibration");
    EXPECT_EQ(failureOf([&] { open(other, AnalysisFormat::Spectra).getMobTrafo(1); }),
              "Mobility calibration is not supported.");
    EXPECT_EQ(failureOf([&] { open(other); }), "Too few columns in table KovaCalibration");
}

TEST_F(CalibrationReader, InformationIsLookedUpByPolarityAndAnyName) {
    AnalysisBuilder builder;
    builder.calibrationInfo("+", "it's", "plus").calibrationInfo("-", "it's", "minus");
    const KvdCalibrationReaderImpl reader = open(builder);
    EXPECT_EQ(reader.getCalibrationInfoString(Polarity::Positive, "it's"), "plus");
    EXPECT_EQ(reader.getCalibrationInfoString(Polarity::Negative, "it's"), "minus");
    EXPECT_EQ(reader.getCalibrationInfoBlob(Polarity::Negative, "it's")->size(), 5U);
    EXPECT_EQ(reader.getCalibrationInfoString(Polarity::Positive, "' OR '1'='1"), std::nullopt);
    const KvdCalibrationReaderImpl without = open(AnalysisBuilder().withoutTable("CalibrationInfo"));
    EXPECT_EQ(failureOf([&] { without.getCalibrationInfoString(Polarity::Negative, "a"); }),
              "SQLite error retrieving calibration info a / -: no such table: CalibrationInfo");
}

}  // namespace
