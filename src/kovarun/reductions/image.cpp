#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include "kovarun/pipeline/frame_stream.h"
#include "kovarun/query/scanwise_sink.h"
#include "kovarun/reductions/interval_map.h"
#include "kovarun/reductions/reductions.h"

// Images: two of time, m/z and 1/K0 as axes, and what falls into a cell reduced to one value. Edges are found
// as integers wherever that is possible, once per calibration and not per peak: the cells of m/z as ranges of
// indices, those of 1/K0 as a cell for each scan, that of time as one cell for a frame. An axis that the
// image does not have counts as one cell.
namespace lumo::run {

namespace {

constexpr std::uint64_t kPeaksPerGroup = 1 << 18;
constexpr std::uint32_t kOutside = std::numeric_limits<std::uint32_t>::max();

// A cell holds its lower edge, and the last one its upper edge too. A value that is not a number is in none.
std::uint32_t cellOf(const std::vector<double>& edges, double value) {
    if (!(value >= edges.front() && value <= edges.back())) {
        return kOutside;
    }
    const auto above = std::upper_bound(edges.begin(), edges.end(), value);
    return static_cast<std::uint32_t>(std::min<std::ptrdiff_t>(above - edges.begin(), std::ssize(edges) - 1) -
                                      1);
}

// In which cell of an axis of m/z an index of the current calibration is.
class MassCells {
public:
    // Without an axis of m/z every index is in cell 0. Either way indices outside of the box are in none.
    void build(FrameSource& source, const FrameBox& box, const GridAxis* axis) {
        const std::uint64_t version = axis != nullptr ? source.requireMassAxis() : source.massVersion();
        if (isBuilt && version == builtFor) {
            return;
        }
        isBuilt = true;
        builtFor = version;
        std::vector<IndexRange> ranges;
        std::vector<std::uint32_t> cells;
        if (axis == nullptr) {
            ranges = {{0, source.binCount()}};
            cells = {0};
        } else {
            source.massAxis()->cut(axis->edges, ranges, cells);
        }
        if (!box.areAllIndices) {
            restrict(ranges, cells, box.indices);
        }
        map.build(ranges, source.binCount());
        cellOfPiece.assign(map.pieceCount(), kOutside);
        for (std::size_t i = 0; i < ranges.size(); ++i) {
            const IntervalMap::Pieces pieces = map.piecesOf(ranges[i]);
            std::fill(cellOfPiece.begin() + pieces.begin, cellOfPiece.begin() + pieces.end, cells[i]);
        }
    }

    const IntervalMap& wanted() const { return map; }
    std::uint32_t cell(std::uint32_t index) const { return cellOfPiece[map.pieceOf(index)]; }

private:
    // What a query's range of m/z leaves of the cells.
    static void restrict(std::vector<IndexRange>& ranges, std::vector<std::uint32_t>& cells,
                         const std::vector<IndexRange>& allowed) {
        std::vector<IndexRange> keptRanges;
        std::vector<std::uint32_t> keptCells;
        for (std::size_t i = 0; i < ranges.size(); ++i) {
            for (const IndexRange& part : allowed) {
                const IndexRange both = {std::max(ranges[i].begin, part.begin),
                                         std::min(ranges[i].end, part.end)};
                if (both.begin < both.end) {
                    keptRanges.push_back(both);
                    keptCells.push_back(cells[i]);
                }
            }
        }
        ranges = std::move(keptRanges);
        cells = std::move(keptCells);
    }

    IntervalMap map;
    std::vector<std::uint32_t> cellOfPiece;
    std::uint64_t builtFor = 0;
    bool isBuilt = false;
};

struct Grid {
    GridAxis x;
    GridAxis y;

    const GridAxis* axisOf(GridAxis::Kind kind) const {
        return x.kind == kind ? &x : y.kind == kind ? &y : nullptr;
    }
    // How far apart neighbouring cells of an axis are in the image.
    std::size_t stepOf(GridAxis::Kind kind) const {
        return x.kind == kind ? 1 : y.kind == kind ? x.cells() : 0;
    }
};

// One thread's image. Images of several threads are merged cell by cell; values are integers, so the order of
// merging does not matter.
template <Reduce kind>
class ImageSum final : public Accumulator {
public:
    ImageSum(const FrameWork& shared, const Grid& wanted)
        : work(shared), grid(wanted), values(grid.x.cells() * grid.y.cells()) {}

    void add(FrameSource& source, const FrameBox& box, const FrameEntry& frame) override {
        const GridAxis* const time = grid.axisOf(GridAxis::Kind::Time);
        const std::uint32_t timeCell = time == nullptr ? 0 : cellOf(time->edges, frame.time);
        if (timeCell == kOutside || box.isEmpty()) {
            return;
        }
        const std::size_t base = timeCell * grid.stepOf(GridAxis::Kind::Time);
        cells.build(source, box, grid.axisOf(GridAxis::Kind::Mass));
        findScanCells(source);
        const std::size_t massStep = grid.stepOf(GridAxis::Kind::Mass);
        const std::size_t scanStep = grid.stepOf(GridAxis::Kind::OneOverK0);
        ScanwiseSink sink(box, work.control.skipsDamaged,
                          [&](std::uint32_t scan, const std::uint32_t* indices,
                              const std::uint32_t* intensities, std::size_t count) {
                              const std::uint32_t scanCell = cellOfScan.empty() ? 0 : cellOfScan[scan];
                              if (scanCell != kOutside) {
                                  addScan(values.data() + base + scanCell * scanStep, massStep, indices,
                                          intensities, count);
                              }
                          });
        sink.readFrom(source);
    }

    void merge(Accumulator& other) override {
        const auto& another = static_cast<const ImageSum&>(other);
        for (std::size_t i = 0; i < values.size(); ++i) {
            reduceInto<kind>(values[i], another.values[i]);
        }
    }

    arrow::RecordBatch finish() override {
        arrow::RecordBatch batch;
        const std::size_t rows = grid.y.cells();
        batch.length = static_cast<std::int64_t>(rows);
        batch.columns = {arrow::numbers(rows, arrow::toBuffer(std::vector<double>(grid.y.edges.begin(),
                                                                                  grid.y.edges.end() - 1))),
                         arrow::fixedSizeLists(rows, grid.x.cells(), arrow::toBuffer(std::move(values)))};
        return batch;
    }

private:
    // Compared value by value: scans of two frames may have the same 1/K0 though their calibrations are
    // different rows.
    void findScanCells(FrameSource& source) {
        const GridAxis* const axis = grid.axisOf(GridAxis::Kind::OneOverK0);
        if (axis == nullptr) {
            return;
        }
        const std::span<const double> now = source.requireOneOverK0();
        if (!cellOfScan.empty() && std::equal(now.begin(), now.end(), mobilities.begin(), mobilities.end())) {
            return;
        }
        mobilities.assign(now.begin(), now.end());
        cellOfScan.clear();
        for (const double mobility : mobilities) {
            cellOfScan.push_back(cellOf(axis->edges, mobility));
        }
    }

    void addScan(std::uint64_t* row, std::size_t massStep, const std::uint32_t* indices,
                 const std::uint32_t* intensities, std::size_t count) {
        if (positions.size() < count) {
            positions.resize(count);
        }
        const std::size_t found = cells.wanted().findWanted(indices, count, positions.data());
        for (std::size_t i = 0; i < found; ++i) {
            const std::uint32_t position = positions[i];
            reduceInto<kind>(row[cells.cell(indices[position]) * massStep],
                             worthOf<kind>(intensities[position]));
        }
    }

    const FrameWork& work;
    const Grid& grid;
    MassCells cells;
    std::vector<double> mobilities;  // for which cellOfScan is
    std::vector<std::uint32_t> cellOfScan;
    std::vector<std::uint32_t> positions;
    std::vector<std::uint64_t> values;  // y x x
};

}  // namespace

std::unique_ptr<arrow::BatchSource> makeImage(std::shared_ptr<Run> run, Query query, GridAxis x, GridAxis y,
                                              Reduce reduce, const Control& control) {
    std::vector<FrameGroup> groups = groupFrames(query.frames, kPeaksPerGroup);
    auto work = std::make_shared<const FrameWork>(
        FrameWork{std::move(run), std::move(query), control, std::move(groups)});
    const std::string list = "+w:" + std::to_string(x.cells());
    const std::uint64_t bytes = 8 * std::uint64_t{x.cells()} * y.cells();
    auto grid = std::make_shared<const Grid>(Grid{std::move(x), std::move(y)});
    return makeFoldStream(work,
                          {{{"y", "g", false, {}}, {"values", list, false, {{"item", "L", false, {}}}}},
                           [work = work.get(), grid, reduce] {
                               return withReduce(reduce, [&](auto kind) -> std::unique_ptr<Accumulator> {
                                   return std::make_unique<ImageSum<decltype(kind)::value>>(*work, *grid);
                               });
                           },
                           bytes});
}

}  // namespace lumo::run
