#include "kovarun/run/frame_catalog.h"

#include <algorithm>
#include <set>
#include <string>
#include <utility>

#include "kovarun/run/stored_columns.h"

// The frames of a run, read by a connection of the catalog's own. SQLite counts for each connection the
// changes that others have made, so finding out whether the frames are still the same costs a look at the
// file and no query over the frames. An id that is not known may have been written since, so a frame is
// reported as missing only after a second look.
namespace lumo::run {

namespace {

std::string frameQuery(CppSQLite3DB& db) {
    const std::set<std::string> names = columnsOf(db, "Frames");
    std::string sql = "SELECT Id";
    for (const char* name : {"Time", "NumScans", "NumPeaks", "KovaId"}) {
        sql += names.contains(name) ? std::string(", ") + name : ", NULL";
    }
    return sql + ", " + msLevelExpression(db) + " FROM Frames ORDER BY Id";
}

std::int64_t countOr(const CppSQLite3Query& row, int field, std::int64_t unknown) {
    const bool isCount = row.fieldType(field) == sqlite::FieldType::Integer && row.getInt64Field(field) >= 0;
    return isCount ? row.getInt64Field(field) : unknown;
}

// A cell that is not what it should be counts as not stated: planning goes on without it, and reading the
// frame will tell.
FrameEntry readEntry(const CppSQLite3Query& row) {
    FrameEntry entry;
    entry.id = row.getInt64Field(0);
    const sqlite::FieldType time = row.fieldType(1);
    if (time == sqlite::FieldType::Real || time == sqlite::FieldType::Integer) {
        entry.time = row.getFloatField(1);
    }
    entry.scans = countOr(row, 2, -1);
    entry.peaks = countOr(row, 3, -1);
    entry.position = countOr(row, 4, -1);
    const std::int64_t level = countOr(row, 5, 0);
    entry.msLevel = level == 1 || level == 2 ? static_cast<std::int8_t>(level) : std::int8_t{0};
    return entry;
}

// A frame reaches to the one that follows it in the file, or to the file's end. These sizes serve planning
// only: where a frame was removed, the hole counts to the frame before it.
void measureFrames(FrameEntries& frames, std::uintmax_t blobSize) {
    std::vector<FrameEntry*> byPosition;
    for (FrameEntry& frame : frames) {
        if (frame.position >= 0) {
            byPosition.push_back(&frame);
        }
    }
    std::sort(byPosition.begin(), byPosition.end(),
              [](const FrameEntry* a, const FrameEntry* b) { return a->position < b->position; });
    auto end = static_cast<std::int64_t>(std::min<std::uintmax_t>(blobSize, INT64_MAX));
    for (auto frame = byPosition.rbegin(); frame != byPosition.rend(); ++frame) {
        (*frame)->storedBytes = std::max<std::int64_t>(0, end - (*frame)->position);
        end = (*frame)->position;
    }
}

}  // namespace

std::shared_ptr<const FrameEntries> FrameCatalog::all() { return read(Freshness::AsStoredNow); }

FrameEntries FrameCatalog::listed(std::span<const std::int64_t> ids) {
    for (const Freshness freshness : {Freshness::AsKnown, Freshness::AsStoredNow}) {
        const std::shared_ptr<const FrameEntries> known = read(freshness);
        FrameEntries found;
        bool areAllThere = true;
        for (const std::int64_t id : ids) {
            const auto place = std::lower_bound(
                known->begin(), known->end(), id,
                [](const FrameEntry& frame, std::int64_t wanted) { return frame.id < wanted; });
            const bool isThere = place != known->end() && place->id == id;
            areAllThere = areAllThere && isThere;
            found.push_back(isThere ? *place : FrameEntry{.id = id});
        }
        if (areAllThere || freshness == Freshness::AsStoredNow) {
            return found;
        }
    }
    return {};
}

std::shared_ptr<const FrameEntries> FrameCatalog::read(Freshness freshness) {
    const std::lock_guard lock(mutex);
    if (frames && freshness == Freshness::AsKnown) {
        return frames;
    }
    if (!db) {
        // Opened late: a run of which only tables or single frames are read needs no second connection.
        auto opened = std::make_unique<CppSQLite3DB>();
        opened->open(file);
        opened->execDML("PRAGMA busy_timeout=15000");
        db = std::move(opened);  // only once it can be used: the next call tries again
    }
    db->inTransaction([this] { update(); });
    return frames;
}

// Runs inside a transaction: the version and the frames are those of one state of the database. Nothing is
// kept before all rows were read, so a failure leaves the catalog as it was.
void FrameCatalog::update() {
    const std::int64_t now = db->dataVersion();
    if (frames && now == version) {
        return;
    }
    auto stored = std::make_shared<FrameEntries>();
    for (CppSQLite3Query row = db->execQuery(frameQuery(*db)); !row.eof(); row.nextRow()) {
        stored->push_back(readEntry(row));
    }
    measureFrames(*stored, blobSize);
    frames = std::move(stored);
    version = now;
}

void FrameCatalog::abandon() { static_cast<void>(db.release()); }

}  // namespace lumo::run
