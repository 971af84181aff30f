#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "kovadata/kvr.h"
#include "kovarun/query/frame_source.h"

namespace lumo::run {

// What a caller wants the intensity of, checked: each range has ends that are numbers, in order.
struct Target {
    Range mz;
    Range oneOverK0;
    Range time;
};

// Raises std::invalid_argument that names the first target which is no target, and std::runtime_error for
// more than the budget has room for.
std::vector<Target> checkedTargets(const kvr_target* targets, std::uint64_t count,
                                   std::uint64_t memoryBudget);

// What finding targets in a frame takes.
Calibrations neededFor(std::span<const Target> targets);

// A part of a target in one frame: indices [indices.begin, indices.end) in scans [scanBegin, scanEnd). A
// target has one, or none if nothing of the frame is inside; it has more only where a calibration goes up and
// down.
struct TargetBox {
    std::uint32_t target = 0;
    IndexRange indices;
    std::uint32_t scanBegin = 0;
    std::uint32_t scanEnd = 0;
};

// Finds the boxes of targets in frame after frame, and does the work again only where frames convert
// differently. Used by one thread; the targets must outlive it.
class TargetBoxes {
public:
    explicit TargetBoxes(std::span<const Target> wanted) : targets(wanted), needed(neededFor(wanted)) {}

    // The boxes in the current frame of the source, none of them empty; valid until the next call. Raises
    // what is wrong with a calibration that they need.
    std::span<const TargetBox> find(FrameSource& source, const FrameBox& frameBox);

    // Whether find() gave other boxes than before.
    bool haveChanged() const { return changed; }
    // Whether all boxes hold all scans that the frame box has.
    bool holdAllScans() const { return allScans; }

private:
    struct ScanRun {
        std::uint32_t begin;
        std::uint32_t end;
    };

    void findIndices(FrameSource& source, const FrameBox& frameBox);
    void findIndicesAtOnce(const MassAxis& axis);
    void findScans();
    std::uint32_t firstScanUpTo(double high) const;
    void combine();

    std::span<const Target> targets;
    Calibrations needed;
    std::vector<std::vector<IndexRange>> indices;  // of each target
    std::vector<std::vector<ScanRun>> scans;
    std::vector<TargetBox> boxes;

    std::uint64_t massVersion = 0;   // of the source, for which `indices` are
    std::vector<double> mobilities;  // for which `scans` are
    std::uint32_t scanBegin = 0;
    std::uint32_t scanEnd = 0;
    bool isFirst = true;
    bool changed = true;
    bool allScans = true;
};

}  // namespace lumo::run
