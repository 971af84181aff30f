#pragma once

#include "analysis-writer/coefficient_table.h"
#include "analysis-writer/metadata_records.h"
#include "analysis-writer/sqlite_database.h"

namespace analysis_writer {

struct MetadataLayout {
    // Version 1 has no accumulation and ramp times; every other number, known or not, has them.
    int schemaMajor = 3;
    std::size_t mzCoefficientColumns = 5;
    std::size_t kovaCoefficientColumns = 10;
};

// "analysis.kvd" or "analysis.kvs". Everything is written in one transaction until commit(); later changes
// take effect at once. Without commit() the file holds nothing.
class MetadataDatabase {
public:
    MetadataDatabase(const std::filesystem::path& path, const MetadataLayout& layout);

    // Replaces an earlier value of the key.
    void setGlobalMetadatum(const std::string& key, const std::string& value);
    void addFrame(const FrameRecord& row);
    void addMzCalibration(const MzCalibrationRecord& row);
    void addKovaCalibration(const KovaCalibrationRecord& row);
    void addCalibrationInfo(const CalibrationInfoRecord& row);
    void addPrecursor(const PrecursorRecord& row);
    void addZorelFrameMsMsInfo(const ZorelFrameMsMsInfoRecord& row);

    void execute(const std::string& sql) { database.execute(sql); }
    void commit();

private:
    void createTables(bool hasTimes);

    SqliteDatabase database;
    bool framesHaveTimes;
    bool inTransaction = true;
    std::optional<CoefficientTable> mzCalibration;
    std::optional<CoefficientTable> kovaCalibration;
    std::optional<SqliteStatement> insertFrame;
    std::optional<SqliteStatement> insertPrecursor;
    std::optional<SqliteStatement> insertMsMsInfo;
};

}  // namespace analysis_writer
