#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

#include "diag/assert.h"
#include "kova-data-reader/scan-reading/scan_reader.h"
#include "kovarun/query/mass_axis.h"
#include "kovarun/query/query.h"
#include "kovarun/run/run.h"
#include "sqlite/cppsqlite3.h"

namespace lumo::run {

// What a query's box is in one frame by the frame's own calibration: integers only, so that peaks are
// compared without being converted. Bounds are half-open. As long as a flag says that all are inside, its
// list is empty and not looked at.
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
    // For scans between the bounds only.
    bool containsScan(std::uint32_t scan) const {
        LUMO_ASSERT(scan >= scanBegin && scan < scanEnd);
        return areAllScans || scans[scan - scanBegin];
    }
};

// Calibrations that were looked up ahead, by frame. Every one is given out once; a second request for it is a
// query of its own.
template <class Calibration>
class LookedUp {
public:
    void add(std::int64_t frame, Calibration calibration) { found[frame] = std::move(calibration); }

    // Null if it was not looked up.
    const Calibration* find(std::int64_t frame) const {
        const auto entry = found.find(frame);
        return entry == found.end() ? nullptr : &entry->second;
    }

    // The calibration of a frame. `lookUp` is called with the id of a frame and raises what is wrong with its
    // calibration.
    template <class LookUp>
    Calibration take(std::int64_t frame, const LookUp& lookUp) {
        const auto entry = found.find(frame);
        if (entry == found.end()) {
            return lookUp(frame);
        }
        Calibration calibration = std::move(entry->second);
        found.erase(entry);
        return calibration;
    }

private:
    std::unordered_map<std::int64_t, Calibration> found;
};

// What was looked up of frames before they are opened.
struct LookedUpFrames {
    LookedUp<io::kova::AnalysisReader::MzTrafoPtr> masses;
    LookedUp<io::kova::KvdReader::MobTrafoPtr> mobilities;
};

// How the last frames converted. Kept from one query to the next, most of which meet the same calibrations.
struct Conversions final : KeptWithReader {
    std::optional<MassAxis> axis;               // of the last frame that had one
    std::uint64_t version = 0;                  // of the axis
    io::kova::KvdReader::MobTrafoPtr mobility;  // of the last frame that had one
    std::vector<double> mobilities;             // by that, of at least as many scans as that frame has
};

// Reads the frames of a query one after the other, for one thread, with a reader of its own. Calibrations are
// looked up only when they are needed, and conversions are kept as long as successive frames convert alike.
//
// open() makes a frame the current one. What is returned by reference or as a span is valid until the next
// call of open().
class FrameSource {
public:
    // The query must outlive it.
    FrameSource(Run& run, const Query& query);

    // Announces the frames that will be opened next. What the query wants to know of them is looked up together:
    // each query by itself takes and releases the database's lock, which for small frames costs more than
    // reading them. What the query knows of its first frames is not looked up again, so these are announced by one
    // thread only.
    void announce(std::span<const FrameEntry> next);

    // What was announced and not opened yet, for Query::lookedUp.
    LookedUpFrames takeLookedUp() { return std::exchange(ahead, {}); }

    // What the user of the reader before this one has left for the next.
    template <class Kept>
    Kept& kept() {
        return reader->kept<Kept>();
    }

    // Makes a frame the current one and finds its box. Raises what is wrong with the frame and, where the
    // query has a range of m/z or 1/K0, what is wrong with the calibration that this needs.
    const FrameBox& open(const FrameEntry& frame);

    // Hands the peaks of the current frame to a sink: all scans from the box's first to its last. Scans in
    // between that the box lacks, and indices outside of it, are left to the sink, which may drop them where
    // it looks at the peaks anyway.
    void read(io::kova::ScanSink& sink);

    // The mass calibration of the current frame; null if it has none that works.
    const MassAxis* massAxis();

    // The same, but raises where there is none that works. The number returned changes whenever frames begin
    // to convert differently, so results that depend on the mass axis can be kept while it stays the same.
    std::uint64_t requireMassAxis();
    std::uint64_t massVersion() const { return last.version; }

    // 1/K0 of the scans of the current frame, from the first; empty if it has no mobility calibration that
    // works.
    std::span<const double> oneOverK0();
    // Raises what is wrong with it instead.
    std::span<const double> requireOneOverK0();

    // The same of any frame, announced or not, for scans [0, count).
    std::vector<double> oneOverK0Of(std::int64_t frame, std::uint32_t count);
    std::shared_ptr<const MassAxis> massAxisOf(std::int64_t frame);

    std::uint32_t numberOfScansOf(std::int64_t frame) { return scans.numberOfScans(frame); }

    std::uint32_t numberOfScans() const { return scanCount; }
    std::uint32_t binCount() const { return scans.binCount(); }

private:
    bool isLookedUp(const FrameEntry& frame) const;
    LookedUpFrames lookUp(std::span<const FrameEntry> next) const;
    void chooseScans();
    void chooseIndices();
    void lookUpMass();
    void lookUpMobility();
    bool areKnown(const io::kova::KvdReader::MobTrafoPtr& calibration, std::uint32_t count) const;
    std::span<const double> ofCurrentFrame() const;

    Run::Lease reader;
    Conversions& last;
    const Query& query;
    io::kova::ScanReader& scans;
    std::int64_t frameId = 0;
    std::uint32_t scanCount = 0;
    FrameBox box;

    LookedUpFrames ahead;

    bool isMassLookedUp = false;
    bool hasMass = false;
    std::vector<IndexRange> queried;  // what the query's range of m/z is on that axis
    bool isQueriedKnown = false;

    bool isMobilityLookedUp = false;
    bool hasMobility = false;
};

}  // namespace lumo::run
