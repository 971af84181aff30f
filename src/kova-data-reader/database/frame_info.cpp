#include "kova-data-reader/database/frame_info.h"

#include <optional>
#include <stdexcept>
#include <string>

#include "diag/errors.h"
#include "diag/throw.h"
#include "sqlite/lexical_conversion.h"

namespace lumo::io::kova {

namespace {

CppSQLite3Statement prepareFrameInfoStatement(CppSQLite3DB& db, bool isKvd, std::int32_t schemaMajor) {
    if (!isKvd) {
        return db.compileStatement("SELECT KovaId, NumPeaks FROM Frames WHERE Id = ?");
    }
    switch (schemaMajor) {
        case 1:
            return db.compileStatement("SELECT KovaId FROM Frames WHERE Id = ?");
        case 2:
        case 3:
            return db.compileStatement("SELECT KovaId, AccumulationTime, RampTime FROM Frames WHERE Id = ?");
        default:
            LUMO_THROW(std::runtime_error(
                "Schema version not implemented in KvdReaderImpl::prepareFrameInfoStatement()"));
    }
}

// SQLite would quietly read any text as 0, and so another frame's data in place of this one's.
std::int64_t integerField(const CppSQLite3Query& row, int field, std::int64_t nullValue, std::int64_t frameId,
                          const char* column) {
    switch (row.fieldType(field)) {
        case CppSQLite3FieldType::Null:
            return nullValue;
        case CppSQLite3FieldType::Integer:
            return row.getInt64Field(field);
        case CppSQLite3FieldType::Text:
            if (const auto value = sqlite::convertLexically<std::int64_t>(row.getStringField(field))) {
                return *value;
            }
            break;
        default:
            break;
    }
    LUMO_THROW(CorruptFrameDataError(frameId, std::string(column) + " is not an integer"));
}

double numberField(const CppSQLite3Query& row, int field, std::int64_t frameId, const char* column) {
    switch (row.fieldType(field)) {
        case CppSQLite3FieldType::Text:
        case CppSQLite3FieldType::Blob:
            LUMO_THROW(CorruptFrameDataError(frameId, std::string(column) + " is not a number"));
        default:
            return row.getFloatField(field);
    }
}

}  // namespace

FrameInfoTable::FrameInfoTable(CppSQLite3DB& db, bool withMobility, std::int32_t majorVersion)
    : isKvd(withMobility),
      schemaMajor(majorVersion),
      statement(prepareFrameInfoStatement(db, withMobility, majorVersion)) {}

const std::pair<const std::int64_t, FrameInfo>& FrameInfoTable::entryOf(std::int64_t frameId) {
    if (const auto found = cache.find(frameId); found != cache.end()) {
        return *found;
    }
    return *cache.emplace(frameId, readFrameInfo(frameId)).first;
}

FrameInfo FrameInfoTable::readFrameInfo(std::int64_t frameId) {
    constexpr std::int64_t kNoData = -1;
    statement.bind(1, frameId);
    const CppSQLite3Query row = statement.execQuery();
    if (row.eof()) {
        LUMO_THROW(CorruptFrameDataError(frameId, "Frame doesn't exist"));
    }
    FrameInfo info;
    if (!isKvd) {
        info.blobOffset = integerField(row, 0, 0, frameId, "KovaId");
        info.numPeaks = integerField(row, 1, -1, frameId, "NumPeaks");
    } else if (schemaMajor == 1) {
        info.blobOffset = integerField(row, 0, 0, frameId, "KovaId");
    } else if (schemaMajor == 2 || schemaMajor == 3) {
        info.rampTime = numberField(row, 2, frameId, "RampTime");
        info.accumulationTime = numberField(row, 1, frameId, "AccumulationTime");
        info.blobOffset = integerField(row, 0, kNoData, frameId, "KovaId");
    } else {
        LUMO_THROW(std::runtime_error("Schema version not implemented in KvdReader::getFrameInfo()"));
    }
    return info;
}

}  // namespace lumo::io::kova
