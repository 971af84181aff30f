#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <span>
#include <vector>

#include "kovarun/query/scanwise_sink.h"
#include "kovarun/reductions/interval_map.h"
#include "kovarun/reductions/reduce.h"
#include "kovarun/reductions/targets.h"

// Reduces the peaks of a frame to one value per target. Peaks are added to the pieces of the interval map, of
// which there are few more than targets, and targets are put together from pieces at the end of the frame. So
// the work per peak does not depend on the number of targets.
//
// Where targets hold only some of the scans, a sum of theirs is what their pieces have at their last scan
// less what they had at their first. A maximum cannot be subtracted like that, so it is put together after
// each scan.
//
// Where all targets hold everything, as for a total ion chromatogram, peaks are not looked up at all.
namespace lumo::run {

template <Reduce kind>
class TargetValues {
public:
    TargetValues(std::span<const Target> targets, OnDamage policy)
        : boxFinder(targets), onDamage(policy), values(targets.size()) {}

    // One value per target, for the current frame of the source; valid until the next call.
    std::span<const std::uint64_t> of(FrameSource& source, const FrameBox& frameBox) {
        std::fill(values.begin(), values.end(), 0);
        if (frameBox.isEmpty() || !prepare(source, frameBox)) {
            return values;
        }
        if (areWhole) {
            addEverything(source, frameBox);
        } else if (boxFinder.holdAllScans()) {
            addUp(source, frameBox);
            addWholeFrame();
        } else if constexpr (kind == Reduce::Max) {
            addScanByScan(source, frameBox);
        } else {
            addBetweenBoundaries(source, frameBox);
        }
        return values;
    }

    // Calls use(scan, target, value) for the targets that have peaks in a scan.
    template <class Use>
    void ofScans(FrameSource& source, const FrameBox& frameBox, const Use& use) {
        if (frameBox.isEmpty() || !prepare(source, frameBox)) {
            return;
        }
        scanByScan(source, frameBox, [&](std::uint32_t scan) {
            for (std::size_t i = 0; i < boxes.size(); ++i) {
                if (scan >= boxes[i].scanBegin && scan < boxes[i].scanEnd) {
                    if (const std::uint64_t value = valueOf(pieces[i])) {
                        use(scan, boxes[i].target, value);
                    }
                }
            }
        });
    }

private:
    // False if no target has anything to look for in this frame. Sums begin at 0 in any case.
    bool prepare(FrameSource& source, const FrameBox& frameBox) {
        boxes = boxFinder.find(source, frameBox);
        if (boxFinder.haveChanged()) {
            ranges.clear();
            for (const TargetBox& box : boxes) {
                ranges.push_back(box.indices);
            }
            map.build(ranges, source.binCount());
            pieces.clear();
            for (const TargetBox& box : boxes) {
                pieces.push_back(map.piecesOf(box.indices));
            }
            sortBoundaries();
            areWhole = boxFinder.holdAllScans() &&
                       std::all_of(ranges.begin(), ranges.end(), [&source](const IndexRange& range) {
                           return range.begin == 0 && range.end == source.binCount();
                       });
        }
        sums.assign(map.pieceCount(), 0);
        return !boxes.empty();
    }

    // A box begins or ends before a scan.
    struct Boundary {
        std::uint32_t scan;
        std::uint32_t box;
    };

    void sortBoundaries() {
        begins.clear();
        ends.clear();
        for (std::uint32_t i = 0; i < boxes.size() && !boxFinder.holdAllScans(); ++i) {
            begins.push_back({boxes[i].scanBegin, i});
            ends.push_back({boxes[i].scanEnd, i});
        }
        const auto byScan = [](const Boundary& a, const Boundary& b) { return a.scan < b.scan; };
        std::sort(begins.begin(), begins.end(), byScan);
        std::sort(ends.begin(), ends.end(), byScan);
    }

    // Adds the peaks that are in any target to the pieces. Calls beforeScan and afterScan around those of
    // each scan; scans without such a peak are passed over.
    template <class Begin, class End>
    void addPeaks(const PeakBatch& batch, const Begin& beforeScan, const End& afterScan) {
        if (positions.size() < batch.peaks) {
            positions.resize(batch.peaks);
        }
        const std::size_t found = map.findWanted(batch.indices, batch.peaks, positions.data());
        std::uint32_t scan = 0;
        std::size_t scanEnd = batch.counts[0];
        for (std::size_t i = 0; i < found;) {
            while (positions[i] >= scanEnd) {
                scanEnd += batch.counts[++scan];
            }
            beforeScan(batch.scanBegin + scan);
            for (; i < found && positions[i] < scanEnd; ++i) {
                const std::uint32_t position = positions[i];
                reduceInto<kind>(sums[map.pieceOf(batch.indices[position])],
                                 worthOf<kind>(batch.intensities[position]));
            }
            afterScan(batch.scanBegin + scan);
        }
    }

    template <class Begin, class End>
    void addFrame(FrameSource& source, const FrameBox& frameBox, const Begin& beforeScan,
                  const End& afterScan) {
        ScanwiseSink sink(frameBox, onDamage,
                          [&](const PeakBatch& batch) { addPeaks(batch, beforeScan, afterScan); });
        sink.readFrom(source);
    }

    static void nothing(std::uint32_t) {}

    void addEverything(FrameSource& source, const FrameBox& frameBox) {
        std::uint64_t all = 0;
        ScanwiseSink sink(frameBox, onDamage, [&all](const PeakBatch& batch) {
            for (std::size_t i = 0; i < batch.peaks; ++i) {
                reduceInto<kind>(all, worthOf<kind>(batch.intensities[i]));
            }
        });
        sink.readFrom(source);
        for (const TargetBox& box : boxes) {
            reduceInto<kind>(values[box.target], all);
        }
    }

    // A target's value in what has been summed so far: its pieces put together.
    std::uint64_t valueOf(const IntervalMap::Pieces& part) const {
        return reduced<kind>(std::span(sums).subspan(part.begin, part.end - part.begin));
    }

    void addUp(FrameSource& source, const FrameBox& frameBox) {
        addFrame(source, frameBox, nothing, nothing);
    }

    // Sums up to each piece first, so that a target is one subtraction however many pieces it has. There is
    // always a piece after a target's last one, see IntervalMap.
    void addWholeFrame() {
        if constexpr (kind != Reduce::Max) {
            std::exclusive_scan(sums.begin(), sums.end(), sums.begin(), std::uint64_t{0});
        }
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            if constexpr (kind == Reduce::Max) {
                reduceInto<kind>(values[boxes[i].target], valueOf(pieces[i]));
            } else {
                values[boxes[i].target] += sums[pieces[i].end] - sums[pieces[i].begin];
            }
        }
    }

    // A target's value is what its pieces have gained between its first scan and its last. Both boundaries
    // are sorted, so each scan only looks at those that it passes; a box that no peak falls into begins and
    // ends with the same sum.
    void addBetweenBoundaries(FrameSource& source, const FrameBox& frameBox) {
        bases.resize(boxes.size());
        std::size_t begun = 0;
        std::size_t ended = 0;
        const auto advanceTo = [&](std::uint64_t scan) {
            for (; begun < begins.size() && begins[begun].scan <= scan; ++begun) {
                bases[begins[begun].box] = valueOf(pieces[begins[begun].box]);
            }
            for (; ended < ends.size() && ends[ended].scan <= scan; ++ended) {
                const std::uint32_t box = ends[ended].box;
                values[boxes[box].target] += valueOf(pieces[box]) - bases[box];
            }
        };
        addFrame(source, frameBox, advanceTo, nothing);
        advanceTo(std::uint64_t{frameBox.scanEnd} + 1);
    }

    template <class Use>
    void scanByScan(FrameSource& source, const FrameBox& frameBox, const Use& use) {
        addFrame(
            source, frameBox, [this](std::uint32_t) { std::fill(sums.begin(), sums.end(), 0); }, use);
    }

    void addScanByScan(FrameSource& source, const FrameBox& frameBox) {
        scanByScan(source, frameBox, [this](std::uint32_t scan) {
            for (std::size_t i = 0; i < boxes.size(); ++i) {
                if (scan >= boxes[i].scanBegin && scan < boxes[i].scanEnd) {
                    reduceInto<kind>(values[boxes[i].target], valueOf(pieces[i]));
                }
            }
        });
    }

    TargetBoxes boxFinder;
    const OnDamage onDamage;
    std::span<const TargetBox> boxes;
    bool areWhole = false;                    // all boxes hold all scans and all indices
    std::vector<IndexRange> ranges;           // of the boxes
    std::vector<IntervalMap::Pieces> pieces;  // of the boxes
    IntervalMap map;
    std::vector<std::uint64_t> sums;   // of the pieces, so far
    std::vector<std::uint64_t> bases;  // of the boxes: what their pieces had when they began
    std::vector<Boundary> begins;      // of the boxes, by scan
    std::vector<Boundary> ends;
    std::vector<std::uint32_t> positions;
    std::vector<std::uint64_t> values;
};

}  // namespace lumo::run
