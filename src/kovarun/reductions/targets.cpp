#include "kovarun/reductions/targets.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <stdexcept>
#include <string>

#include "diag/throw.h"

// Targets are ranges of m/z, 1/K0 and time; for a frame they become boxes of integers. That is done again
// only when something that converts has changed, so a run with one calibration finds its boxes once.
// Thousands of targets are looked up in the mass axis together.
namespace lumo::run {

namespace {

// Both sorted, and in neither do ranges touch.
std::vector<IndexRange> intersection(const std::vector<IndexRange>& a, const std::vector<IndexRange>& b) {
    std::vector<IndexRange> common;
    for (auto left = a.begin(), right = b.begin(); left != a.end() && right != b.end();) {
        const IndexRange both = {std::max(left->begin, right->begin), std::min(left->end, right->end)};
        if (both.begin < both.end) {
            common.push_back(both);
        }
        // The range that ends first meets nothing more of the other list.
        left->end < right->end ? ++left : ++right;
    }
    return common;
}

}  // namespace

std::vector<Target> checkedTargets(const kvr_target* targets, std::uint64_t count,
                                   std::uint64_t memoryBudget) {
    if (targets == nullptr && count != 0) {
        LUMO_THROW(std::invalid_argument("There are no targets."));
    }
    if (count > memoryBudget / sizeof(Target)) {
        LUMO_THROW(
            std::runtime_error("The memory budget does not allow " + std::to_string(count) + " targets."));
    }
    std::vector<Target> checked;
    checked.reserve(count);
    for (std::uint64_t i = 0; i < count; ++i) {
        // A good range is taken as it is: the text for a bad one names the target, and composing it for each
        // of a million would take longer than everything else here.
        const auto checkedOf = [i](const kvr_range& range, const char* what) {
            return range.low <= range.high
                       ? Range{range.low, range.high}
                       : checkedRange(range, (what + (" of target " + std::to_string(i))).c_str());
        };
        checked.push_back({checkedOf(targets[i].mz, "m/z"), checkedOf(targets[i].one_over_k0, "1/K0"),
                           checkedOf(targets[i].time, "time")});
    }
    return checked;
}

// Calibrations are asked for only if a target has a range that needs them, so targets without ranges work
// where a frame has none.
Calibrations neededFor(std::span<const Target> targets) {
    return {.masses = std::any_of(targets.begin(), targets.end(),
                                  [](const Target& target) { return !target.mz.isWhole(); }),
            .mobilities = std::any_of(targets.begin(), targets.end(),
                                      [](const Target& target) { return !target.oneOverK0.isWhole(); })};
}

std::span<const TargetBox> TargetBoxes::find(FrameSource& source, const FrameBox& frameBox) {
    const std::uint64_t version = needed.masses ? source.requireMassAxis() : source.massVersion();
    changed =
        isFirst || version != massVersion || scanBegin != frameBox.scanBegin || scanEnd != frameBox.scanEnd;
    if (needed.mobilities) {
        const std::span<const double> now = source.requireOneOverK0();
        if (!std::equal(now.begin(), now.end(), mobilities.begin(), mobilities.end())) {
            mobilities.assign(now.begin(), now.end());
            changed = true;
        }
    }
    if (changed) {
        isFirst = false;
        massVersion = version;
        scanBegin = frameBox.scanBegin;
        scanEnd = frameBox.scanEnd;
        findIndices(source, frameBox);
        findScans();
        combine();
    }
    return boxes;
}

// Where no target has a range of m/z, no axis is needed, and there may be none.
void TargetBoxes::findIndices(FrameSource& source, const FrameBox& frameBox) {
    const MassAxis* const axis = source.massAxis();
    const bool isMonotonic = axis == nullptr || axis->isMonotonic();
    indices.assign(targets.size(), {});
    if (axis != nullptr && isMonotonic) {
        findIndicesAtOnce(*axis);
    }
    for (std::size_t i = 0; i < targets.size(); ++i) {
        if (targets[i].mz.isWhole()) {
            indices[i] = {{0, source.binCount()}};  // also where there is no m/z
        } else if (!isMonotonic) {
            indices[i] = axis->indicesOf(targets[i].mz);
        }
        if (!frameBox.areAllIndices) {
            indices[i] = intersection(indices[i], frameBox.indices);
        }
    }
}

// Targets without a range take part with infinite bounds, which is cheaper than sorting them out; their
// result is not used.
void TargetBoxes::findIndicesAtOnce(const MassAxis& axis) {
    std::vector<double> low;
    std::vector<double> high;
    for (const Target& target : targets) {
        low.push_back(target.mz.low);
        high.push_back(target.mz.high);
    }
    const std::vector<std::uint32_t> begins = axis.lowerBounds(low);
    const std::vector<std::uint32_t> ends = axis.upperBounds(high);
    for (std::size_t i = 0; i < targets.size(); ++i) {
        if (begins[i] < ends[i]) {
            indices[i] = {{begins[i], ends[i]}};
        }
    }
}

// 1/K0 falls or rises with the scan as the calibration says, so a target may hold several runs of scans;
// hardly ever more than one. Where it only falls, scans before and after that one are not looked at.
void TargetBoxes::findScans() {
    scans.assign(targets.size(), {});
    allScans = true;
    const bool isFalling = std::adjacent_find(mobilities.begin(), mobilities.end(),
                                              std::not_fn(std::greater_equal<>())) == mobilities.end();
    for (std::size_t i = 0; i < targets.size(); ++i) {
        const Range& wanted = targets[i].oneOverK0;
        if (wanted.isWhole()) {
            scans[i] = {{scanBegin, scanEnd}};
            continue;
        }
        for (std::uint32_t scan = isFalling ? firstScanUpTo(wanted.high) : scanBegin; scan < scanEnd;
             ++scan) {
            if (!wanted.contains(mobilities[scan])) {
                if (isFalling) {
                    break;
                }
                continue;
            }
            if (scans[i].empty() || scans[i].back().end != scan) {
                scans[i].push_back({scan, scan});
            }
            scans[i].back().end = scan + 1;
        }
        allScans =
            allScans && scans[i].size() == 1 && scans[i][0].begin == scanBegin && scans[i][0].end == scanEnd;
    }
}

// The first scan of the box whose 1/K0 is not above a value, where 1/K0 falls.
std::uint32_t TargetBoxes::firstScanUpTo(double high) const {
    const auto begin = mobilities.begin() + scanBegin;
    const auto first = std::partition_point(begin, mobilities.begin() + scanEnd,
                                            [high](double value) { return value > high; });
    return scanBegin + static_cast<std::uint32_t>(first - begin);
}

// A target with several ranges of indices and of scans has a box for each pair of them.
void TargetBoxes::combine() {
    boxes.clear();
    for (std::size_t i = 0; i < targets.size(); ++i) {
        for (const IndexRange& range : indices[i]) {
            for (const ScanRun& run : scans[i]) {
                boxes.push_back({static_cast<std::uint32_t>(i), range, run.begin, run.end});
            }
        }
    }
}

}  // namespace lumo::run
