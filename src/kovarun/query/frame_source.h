#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "kova-data-reader/scan-reading/scan_reader.h"
#include "kovarun/query/mass_axis.h"
#include "kovarun/query/query.h"
#include "kovarun/run/run.h"

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

// Reads the frames of a query for one thread, with a reader of its own. Calibrations are looked up only when they are needed, and kept
// while successive frames convert alike.
class FrameSource {
public:
    // The query must outlive it.
    FrameSource(Run& run, const Query& query);

    // Makes a frame the current one and finds its box. Raises what is wrong with the frame, and where the query has a range of m/z or
    // 1/K0, what is wrong with that calibration.
    const FrameBox& open(const FrameEntry& frame);

    // Hands the peaks in the scans of the box to a sink. Peaks outside of its indices are the sink's to leave out.
    void read(io::kova::ScanSink& sink);

    // The mass calibration of the current frame; null if it has none that works.
    const MassAxis* massAxis();

    // Raises what is wrong with it instead. The number returned changes whenever successive frames convert differently.
    std::uint64_t requireMassAxis();
    std::uint64_t massVersion() const { return version; }

    // 1/K0 of the scans of the current frame, from the first; empty if it has no mobility calibration that works.
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
    std::vector<double> mobilitiesOf(std::int64_t frame, std::uint32_t count) const;

    Run::Lease reader;
    const Query& query;
    io::kova::ScanReader& scans;
    std::int64_t frameId = 0;
    std::uint32_t scanCount = 0;
    FrameBox box;

    bool isMassLookedUp = false;
    bool hasMass = false;
    std::optional<MassAxis> axis;     // of the last frame that had one
    std::uint64_t version = 0;        // of the axis
    std::vector<IndexRange> queried;  // what the query's range of m/z is on that axis
    bool isQueriedKnown = false;

    bool isMobilityLookedUp = false;
    std::vector<double> mobilities;
};

}  // namespace lumo::run
