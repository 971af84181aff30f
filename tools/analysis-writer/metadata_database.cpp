#include "analysis-writer/metadata_database.h"

// The tables of an acquisition, with the columns that the schema version has. Rows that come by the thousand
// have statements that are compiled once.
namespace analysis_writer {

namespace {

constexpr const char* kFrameColumns =
    "Id INTEGER PRIMARY KEY, Time REAL, Polarity CHAR(1), ScanMode INTEGER, MsMsType INTEGER, KovaId "
    "INTEGER, "
    "NumScans INTEGER, NumPeaks INTEGER, SummedIntensities INTEGER, MaxIntensity INTEGER, T1 REAL, T2 REAL, "
    "MzCalibration INTEGER, KovaCalibration INTEGER";

std::string placeholders(int count) {
    std::string text = "?";
    for (int i = 1; i < count; ++i)
        text += ",?";
    return text;
}

}  // namespace

MetadataDatabase::MetadataDatabase(const std::filesystem::path& path, const MetadataLayout& layout)
    : database(path), framesHaveTimes(layout.schemaMajor != 1) {
    database.execute("BEGIN");
    createTables(framesHaveTimes);
    mzCalibration.emplace(
        database, "MzCalibration",
        "Id INTEGER, ModelType INTEGER, DigitizerTimebase REAL, DigitizerDelay REAL, T1 REAL, "
        "T2 REAL, dC1 REAL, dC2 REAL",
        layout.mzCoefficientColumns);
    kovaCalibration.emplace(database, "KovaCalibration", "Id INTEGER, ModelType INTEGER",
                            layout.kovaCoefficientColumns);
    insertFrame.emplace(database,
                        "INSERT INTO Frames VALUES (" + placeholders(framesHaveTimes ? 16 : 14) + ")");
    insertPrecursor.emplace(database, "INSERT INTO Precursors VALUES (" + placeholders(8) + ")");
    insertMsMsInfo.emplace(database, "INSERT INTO ZorelFrameMsMsInfo VALUES (" + placeholders(4) + ")");
}

void MetadataDatabase::createTables(bool hasTimes) {
    database.execute("CREATE TABLE GlobalMetadata (Key TEXT, Value TEXT)");
    const std::string times = hasTimes ? ", AccumulationTime REAL, RampTime REAL" : "";
    database.execute("CREATE TABLE Frames (" + std::string(kFrameColumns) + times + ")");
    database.execute("CREATE TABLE CalibrationInfo (KeyPolarity CHAR(1), KeyName TEXT, Value TEXT)");
    database.execute(
        "CREATE TABLE Precursors (Id INTEGER PRIMARY KEY, Parent INTEGER, ScanNumber REAL, LargestPeakMz "
        "REAL, "
        "AverageMz REAL, MonoisotopicMz REAL, Charge INTEGER, Intensity REAL)");
    database.execute(
        "CREATE TABLE ZorelFrameMsMsInfo (Frame INTEGER, Precursor INTEGER, ScanNumBegin INTEGER, "
        "ScanNumEnd INTEGER)");
}

void MetadataDatabase::setGlobalMetadatum(const std::string& key, const std::string& value) {
    database.run("DELETE FROM GlobalMetadata WHERE Key=?", {key});
    database.run("INSERT INTO GlobalMetadata VALUES (?,?)", {key, value});
}

void MetadataDatabase::addFrame(const FrameRecord& row) {
    int position = 1;
    for (const SqlValue& value :
         {SqlValue(row.id), sqlValue(row.time), sqlValue(row.polarity), SqlValue(row.scanMode),
          SqlValue(row.msMsType), sqlValue(row.kovaId), sqlValue(row.numScans), sqlValue(row.numPeaks),
          sqlValue(row.summedIntensities), sqlValue(row.maxIntensity), sqlValue(row.t1), sqlValue(row.t2),
          sqlValue(row.mzCalibration), sqlValue(row.kovaCalibration)}) {
        insertFrame->bind(position++, value);
    }
    if (framesHaveTimes) {
        insertFrame->bind(position++, sqlValue(row.accumulationTime));
        insertFrame->bind(position++, sqlValue(row.rampTime));
    }
    insertFrame->execute();
}

void MetadataDatabase::addMzCalibration(const MzCalibrationRecord& row) {
    mzCalibration->insert(
        {row.id, sqlValue(row.modelType), sqlValue(row.digitizerTimebase), sqlValue(row.digitizerDelay),
         sqlValue(row.t1), sqlValue(row.t2), sqlValue(row.dC1), sqlValue(row.dC2)},
        row.coefficients);
}

void MetadataDatabase::addKovaCalibration(const KovaCalibrationRecord& row) {
    kovaCalibration->insert({row.id, sqlValue(row.modelType)}, row.coefficients);
}

void MetadataDatabase::addCalibrationInfo(const CalibrationInfoRecord& row) {
    database.run("INSERT INTO CalibrationInfo VALUES (?,?,?)", {row.polarity, row.name, row.value});
}

void MetadataDatabase::addPrecursor(const PrecursorRecord& row) {
    insertPrecursor->run({row.id, sqlValue(row.parent), sqlValue(row.scanNumber), sqlValue(row.largestPeakMz),
                          sqlValue(row.averageMz), sqlValue(row.monoisotopicMz), sqlValue(row.charge),
                          sqlValue(row.intensity)});
}

void MetadataDatabase::addZorelFrameMsMsInfo(const ZorelFrameMsMsInfoRecord& row) {
    insertMsMsInfo->run({row.frame, row.precursor, sqlValue(row.scanNumBegin), sqlValue(row.scanNumEnd)});
}

void MetadataDatabase::commit() {
    if (inTransaction)
        database.execute("COMMIT");
    inTransaction = false;
}

}  // namespace analysis_writer
