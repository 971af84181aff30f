#pragma once

#include <cstdint>
#include <unordered_map>
#include <utility>

#include "kova-data-reader/database/analysis_format.h"
#include "sqlite/cppsqlite3.h"

namespace lumo::io::kova {

// What reading a frame's data needs of its row in table "Frames". A number may be stored as INTEGER, as REAL
// or as TEXT that is nothing but this number; the offset and the number of peaks must be whole. NULL stands
// for the defaults below, except that an offset is 0 where the schema allows no NULL. Everything else is
// refused.
struct FrameInfo {
    std::int64_t blobOffset = -1;   // bytes from the start of the blob file; negative: no data
    double accumulationTime = 0.0;  // ms; 0 where the schema has none
    double rampTime = 0.0;          // ms; 0 where the schema has none
    std::int64_t numPeaks = -1;     // of a spectrum without mobility; -1: not stored
};

// Looks frames up through one statement, prepared once. Each frame is read from the database once and then
// kept: acquisition programs add frames, but a frame that was written stays where it is. Used by one thread.
class FrameInfoTable {
public:
    // Raises std::runtime_error on a schema version that it cannot read.
    FrameInfoTable(CppSQLite3DB& db, AnalysisFormat analysisFormat, std::int32_t majorVersion);

    // Raises CorruptFrameDataError. The reference is valid as long as this object.
    const FrameInfo& getFrameInfo(std::int64_t frameId) {
        if (last == nullptr || last->first != frameId) {
            last = &entryOf(frameId);
        }
        return last->second;
    }

private:
    const std::pair<const std::int64_t, FrameInfo>& entryOf(std::int64_t frameId);
    FrameInfo readFrameInfo(std::int64_t frameId);

    AnalysisFormat format;
    std::int32_t schemaMajor;
    CppSQLite3Statement statement;
    std::unordered_map<std::int64_t, FrameInfo> cache;
    // The entry asked for last; scans are mostly read from one frame after the other.
    const std::pair<const std::int64_t, FrameInfo>* last = nullptr;
};

}  // namespace lumo::io::kova
