#include "kovarun/reductions/image_axes.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "diag/throw.h"
#include "kovarun/query/frame_source.h"

// The range of an axis that the caller has left open: that of the query, if it is bounded, else that of the
// frames. For m/z and 1/K0 this is what a frame can hold and not what happens to be in it, so images of parts
// of a run have the same axes.
namespace lumo::run {

namespace {

constexpr std::uint32_t kMostCellsOfAxis = 1 << 24;  // of one axis; its edges are a list of this length

// An empty range, low above high, means that there is nothing to draw.
Range timesOf(const FrameEntries& frames) {
    Range range = {Range::kInfinity, -Range::kInfinity};
    for (const FrameEntry& frame : frames) {
        if (std::isfinite(frame.time)) {
            range = {std::min(range.low, frame.time), std::max(range.high, frame.time)};
        }
    }
    return range;
}

Range hullOf(std::span<const double> values) {
    Range range = {Range::kInfinity, -Range::kInfinity};
    for (const double value : values) {
        if (std::isfinite(value)) {
            range = {std::min(range.low, value), std::max(range.high, value)};
        }
    }
    return range;
}

// Of the first frame that has such a calibration. The m/z at index 0 may be below 0, which no axis should
// begin with.
Range calibratedRange(FrameSource& source, const Query& query, std::uint32_t kind) {
    for (const FrameEntry& frame : query.frames) {
        if (kind == KVR_AXIS_MZ) {
            if (const auto axis = source.massAxisOf(frame.id)) {
                const double ends[] = {0.0, source.binCount() - 1.0};
                double masses[2];
                axis->massesOf(ends, masses);
                return {std::max(0.0, std::min(masses[0], masses[1])), std::max(masses[0], masses[1])};
            }
        } else if (const auto mobilities = source.oneOverK0Of(frame.id, source.numberOfScansOf(frame.id));
                   !mobilities.empty()) {
            return hullOf(mobilities);
        }
    }
    return {Range::kInfinity, -Range::kInfinity};
}

// The first frame nearly always has both calibrations, so they are looked up together.
class NaturalRanges {
public:
    NaturalRanges(Run& owner, const Query& prepared) : run(owner), query(prepared) {}

    Range of(std::uint32_t kind) {
        if (kind == KVR_AXIS_TIME) {
            return timesOf(query.frames);
        }
        const std::optional<Range>& asked = kind == KVR_AXIS_MZ ? query.mz : query.oneOverK0;
        if (asked && std::isfinite(asked->low) && std::isfinite(asked->high)) {
            return *asked;
        }
        if (!source) {
            source.emplace(run, query);
            source->announce(std::span(query.frames).first(std::min<std::size_t>(1, query.frames.size())));
        }
        return calibratedRange(*source, query, kind);
    }

    std::shared_ptr<LookedUpFrames> lookedUp() {
        return source ? std::make_shared<LookedUpFrames>(source->takeLookedUp()) : nullptr;
    }

private:
    Run& run;
    const Query& query;
    std::optional<FrameSource> source;
};

// An axis of a single point gets the smallest range there is, so that a run of one frame can be drawn too.
kvr_axis completeAxis(NaturalRanges& ranges, const kvr_axis& axis) {
    static constexpr const char* kNames[] = {"time", "m/z", "1/K0"};
    if (axis.kind > KVR_AXIS_ONE_OVER_K0) {
        LUMO_THROW(std::invalid_argument("There is no axis of kind " + std::to_string(axis.kind) + "."));
    }
    const std::string name = kNames[axis.kind];
    if (axis.bins == 0 || axis.bins > kMostCellsOfAxis) {
        LUMO_THROW(std::invalid_argument("The axis of " + name + " cannot have " + std::to_string(axis.bins) +
                                         " cells."));
    }
    // An axis is completed as a whole. One bound that is missing alone is refused below, like one that is
    // infinite.
    kvr_axis complete = axis;
    if (std::isnan(axis.low) && std::isnan(axis.high)) {
        const Range range = ranges.of(axis.kind);
        if (range.low > range.high) {
            LUMO_THROW(std::runtime_error("The frames have no " + name + " to draw."));
        }
        complete.low = range.low;
        complete.high = range.high == range.low ? std::nextafter(range.low, Range::kInfinity) : range.high;
    }
    if (!std::isfinite(complete.high - complete.low) || !(complete.low < complete.high)) {
        LUMO_THROW(std::invalid_argument("The axis of " + name + " has no range."));
    }
    return complete;
}

}  // namespace

void completeAxes(Run& run, Query& query, kvr_axis& x, kvr_axis& y) {
    const auto has = [&](std::uint32_t kind) { return x.kind == kind || y.kind == kind; };
    query.wanted =
        query.wanted | Calibrations{.masses = has(KVR_AXIS_MZ), .mobilities = has(KVR_AXIS_ONE_OVER_K0)};
    NaturalRanges ranges(run, query);
    x = completeAxis(ranges, x);
    y = completeAxis(ranges, y);
    query.lookedUp = ranges.lookedUp();
}

// The last edge is the upper end itself, whatever rounding makes of the sum.
GridAxis toGridAxis(const kvr_axis& axis) {
    GridAxis grid;
    grid.kind = static_cast<GridAxis::Kind>(axis.kind);
    const double width = (axis.high - axis.low) / axis.bins;
    grid.edges.reserve(std::size_t{axis.bins} + 1);
    for (std::uint32_t cell = 0; cell < axis.bins; ++cell) {
        grid.edges.push_back(axis.low + cell * width);
    }
    grid.edges.push_back(axis.high);
    return grid;
}

}  // namespace lumo::run
