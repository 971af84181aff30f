#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

#include "kova-data-reader/scan-reading/scan_reader.h"
#include "kovarun/query/mass_axis.h"
#include "kovarun/query/query.h"
#include "kovarun/run/run.h"
#include "sqlite/cppsqlite3.h"

namespace lumo::run {

// What a query's box is in one frame, by the frame's own calibration: integers only.
struct FrameBox {
    std::uint32_t scanBegin = 0;
    std::uint32_t scanEnd = 0;
    bool areAllScans = true;  // else only those that `scans` marks, counted from scanBegin
    std::vector<bool> scans;
    bool areAllIndices = true;  // else only those in `indices`
    std::vector<IndexRange> indices;

    bool isEmpty() const { return scanBegin == scanEnd || (!areAllIndices && indices.empty()); }
    bool containsIndex(std::uint32_t index) const {
        return areAllIndices || std::any_of(indices.begin(), indices.end(), [index](const IndexRange& range) {
                   return range.contains(index);
               });
    }
    bool containsScan(std::uint32_t scan) const { return areAllScans || scans[scan - scanBegin]; }
};

// Calibrations of frames that were looked up together.
template <class Calibration>
class LookedUp {
public:
    void forget() {
        found.clear();
        isTried = false;
    }

    // That of a frame, by `lookUp`, which raises what is wrong with it.
    template <class LookUp>
    Calibration take(std::int64_t frame, std::span<const FrameEntry> announced, CppSQLite3DB& db,
                     const LookUp& lookUp) {
        if (!isTried) {
            isTried = true;
            tryAll(announced, db, lookUp);
        }
        const auto entry = found.find(frame);
        if (entry == found.end()) {
            return lookUp(frame);
        }
        Calibration calibration = std::move(entry->second);
        found.erase(entry);
        return calibration;
    }

private:
    // Frames that fail are looked up by themselves when their time has come.
    template <class LookUp>
    void tryAll(std::span<const FrameEntry> announced, CppSQLite3DB& db, const LookUp& lookUp) {
        try {
            db.inTransaction([&] {
                found.clear();
                for (const FrameEntry& frame : announced) {
                    found[frame.id] = lookUp(frame.id);
                }
            });
        } catch (const std::exception&) {
            return;
        }
    }

    std::unordered_map<std::int64_t, Calibration> found;
    bool isTried = false;
};

// Reads the frames of a query for one thread, with a reader of its own. Calibrations are looked up only when
// they are needed, and kept while successive frames convert alike.
class FrameSource {
public:
    // The query must outlive it.
    FrameSource(Run& run, const Query& query);

    // Announces the frames that are opened next. Their calibrations are looked up together when the first is
    // needed: a query by itself costs several times as much as one of many in a transaction.
    void announce(std::span<const FrameEntry> next);

    // Makes a frame the current one and finds its box. Raises what is wrong with the frame, and where the
    // query has a range of m/z or 1/K0, what is wrong with that calibration.
    const FrameBox& open(const FrameEntry& frame);

    // Hands the peaks in the scans of the box to a sink. Peaks outside of its indices are the sink's to leave
    // out.
    void read(io::kova::ScanSink& sink);

    // The mass calibration of the current frame; null if it has none that works.
    const MassAxis* massAxis();

    // Raises what is wrong with it instead. The number returned changes whenever successive frames convert
    // differently.
    std::uint64_t requireMassAxis();
    std::uint64_t massVersion() const { return version; }

    // 1/K0 of the scans of the current frame, from the first; empty if it has no mobility calibration that
    // works.
    std::span<const double> oneOverK0();
    // Raises what is wrong with it instead.
    std::span<const double> requireOneOverK0();

    // The same of any frame, for scans [0, count).
    std::vector<double> oneOverK0Of(std::int64_t frame, std::uint32_t count);
    std::shared_ptr<const MassAxis> massAxisOf(std::int64_t frame);

    std::uint32_t numberOfScansOf(std::int64_t frame) { return scans.numberOfScans(frame); }

    std::uint32_t numberOfScans() const { return scanCount; }
    std::uint32_t binCount() const { return scans.binCount(); }

private:
    void chooseScans();
    void chooseIndices();
    void lookUpMass();
    void lookUpMobility();
    std::span<const double> ofCurrentFrame() const;

    Run::Lease reader;
    const Query& query;
    io::kova::ScanReader& scans;
    std::int64_t frameId = 0;
    std::uint32_t scanCount = 0;
    FrameBox box;

    std::span<const FrameEntry> announced;
    LookedUp<io::kova::AnalysisReader::MzTrafoPtr> massesAhead;
    LookedUp<io::kova::KvdReader::MobTrafoPtr> mobilitiesAhead;

    bool isMassLookedUp = false;
    bool hasMass = false;
    std::optional<MassAxis> axis;     // of the last frame that had one
    std::uint64_t version = 0;        // of the axis
    std::vector<IndexRange> queried;  // what the query's range of m/z is on that axis
    bool isQueriedKnown = false;

    bool isMobilityLookedUp = false;
    bool hasMobility = false;
    io::kova::KvdReader::MobTrafoPtr mobility;  // of the last frame that had one
    std::vector<double> mobilities;             // by that, of at least as many scans as the current frame has
};

}  // namespace lumo::run
