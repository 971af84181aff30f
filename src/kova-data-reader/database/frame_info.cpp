#include "kova-data-reader/database/frame_info.h"

#include <cmath>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "diag/errors.h"
#include "diag/throw.h"
#include "sqlite/lexical_conversion.h"
#include "sys/work_counters.h"

// Rows of frames, as far as reading their data needs them. Which columns there are depends on the schema
// version. Programs have stored numbers with any type; each is taken if it is exactly a number.
namespace lumo::io::kova {

namespace {

CppSQLite3Statement prepareFrameInfoStatement(CppSQLite3DB& db, AnalysisFormat format,
                                              std::int32_t schemaMajor) {
    if (format == AnalysisFormat::Spectra) {
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

std::optional<double> exactly(double value, double /*wanted*/) { return value; }

// Whole numbers only. The bounds are the powers of two beyond which the conversion would be undefined.
std::optional<std::int64_t> exactly(double value, std::int64_t /*wanted*/) {
    constexpr double kBeyond = 9223372036854775808.0;
    const bool whole = value >= -kBeyond && value < kBeyond && value == std::trunc(value);
    return whole ? std::optional(static_cast<std::int64_t>(value)) : std::nullopt;
}

// A cell as a number, or the frame is corrupt. SQLite would quietly read any text as 0, which as an offset is
// another frame's data.
template <class Number>
Number numberField(const CppSQLite3Query& row, int field, Number nullValue, std::int64_t frameId,
                   const char* column) {
    std::optional<Number> value;
    switch (row.fieldType(field)) {
        case sqlite::FieldType::Null:
            return nullValue;
        case sqlite::FieldType::Integer:
            return static_cast<Number>(row.getInt64Field(field));
        case sqlite::FieldType::Real:
            value = exactly(row.getFloatField(field), nullValue);
            break;
        case sqlite::FieldType::Text:
            value = sqlite::convertLexically<Number>(row.getStringField(field));
            break;
        case sqlite::FieldType::Blob:
            break;
    }
    if (!value) {
        const std::string expected(std::is_integral_v<Number> ? " is not an integer" : " is not a number");
        LUMO_THROW(CorruptFrameDataError(frameId, column + expected));
    }
    return *value;
}

}  // namespace

FrameInfoTable::FrameInfoTable(CppSQLite3DB& db, AnalysisFormat analysisFormat, std::int32_t majorVersion)
    : format(analysisFormat),
      schemaMajor(majorVersion),
      statement(prepareFrameInfoStatement(db, analysisFormat, majorVersion)) {}

const std::pair<const std::int64_t, FrameInfo>& FrameInfoTable::entryOf(std::int64_t frameId) {
    if (const auto found = cache.find(frameId); found != cache.end()) {
        return *found;
    }
    return *cache.emplace(frameId, readFrameInfo(frameId)).first;
}

// NULL in the column of the offset means 0 where the schema forbids NULL, and no data where it allows it.
FrameInfo FrameInfoTable::readFrameInfo(std::int64_t frameId) {
    constexpr std::int64_t kNoData = -1;
    const sys::WorkStopwatch stopwatch(&sys::WorkCounters::queries);
    statement.bind(1, frameId);
    const CppSQLite3Query row = statement.execQuery();
    if (row.eof()) {
        LUMO_THROW(CorruptFrameDataError(frameId, "Frame doesn't exist"));
    }
    FrameInfo info;
    if (format == AnalysisFormat::Spectra) {
        info.blobOffset = numberField(row, 0, std::int64_t{0}, frameId, "KovaId");
        info.numPeaks = numberField(row, 1, std::int64_t{-1}, frameId, "NumPeaks");
    } else if (schemaMajor == 1) {
        info.blobOffset = numberField(row, 0, std::int64_t{0}, frameId, "KovaId");
    } else if (schemaMajor == 2 || schemaMajor == 3) {
        // Of several cells that are no numbers, the first of this order is reported.
        info.rampTime = numberField(row, 2, 0.0, frameId, "RampTime");
        info.accumulationTime = numberField(row, 1, 0.0, frameId, "AccumulationTime");
        info.blobOffset = numberField(row, 0, kNoData, frameId, "KovaId");
    } else {
        LUMO_THROW(std::runtime_error("Schema version not implemented in KvdReader::getFrameInfo()"));
    }
    return info;
}

}  // namespace lumo::io::kova
