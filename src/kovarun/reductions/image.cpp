#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

#include "diag/throw.h"
#include "kovarun/pipeline/frame_stream.h"
#include "kovarun/query/scanwise_sink.h"
#include "kovarun/reductions/index_cells.h"
#include "kovarun/reductions/reductions.h"

// Images: two of time, m/z and 1/K0 as axes, and what falls into a cell reduced to one value. Edges are
// turned into integers where they can be, once per calibration and not per peak: the cells of m/z become
// ranges of indices, those of 1/K0 a cell for each scan, that of time one cell for a frame. A peak's place in
// the image is then the sum of three steps that are looked up. An axis that the image does not have counts as
// one cell with the step 0.
//
// Places are added in 32 bits. "Outside" is the place after the last cell; a sum with one or more steps
// outside exceeds it and is cut to it, and cannot wrap around because images are limited to 2^30 cells.
namespace lumo::run {

namespace {

constexpr std::uint32_t kOutside = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t kMostCells = std::uint64_t{1} << 30;  // keeps sums of places below 2^32

// A cell holds its lower edge, and the last one its upper edge too. A value that is not a number is in none.
std::uint32_t cellOf(const std::vector<double>& edges, double value) {
    if (!(value >= edges.front() && value <= edges.back())) {
        return kOutside;
    }
    const auto above = std::upper_bound(edges.begin(), edges.end(), value);
    return static_cast<std::uint32_t>(std::min<std::ptrdiff_t>(above - edges.begin(), std::ssize(edges) - 1) -
                                      1);
}

// What peaks' indices and scans add to their places in the image depends on an axis, on how far apart its
// cells are, and on the place of what is in none of them.
struct AxisSteps {
    std::vector<double> edges;  // none: an axis that the image does not have
    std::uint32_t step = 0;
    std::uint32_t outside = 0;

    bool operator==(const AxisSteps&) const = default;
};
using SharedAxis = std::shared_ptr<const AxisSteps>;

bool areAlike(const SharedAxis& one, const SharedAxis& other) { return one == other || *one == *other; }

// What a peak's index adds to its place in the image, by one calibration.
class MassSteps {
public:
    // Without an axis of m/z the step is 0 for all. In both cases indices outside of the query's box lead to
    // `outside`.
    MassSteps(FrameSource& source, const FrameBox& box, SharedAxis along)
        : axis(std::move(along)), areAllIndices(box.areAllIndices), allowed(box.indices) {
        std::vector<IndexRange> ranges;
        std::vector<std::uint32_t> steps;
        if (axis->edges.empty()) {
            ranges = {{0, source.binCount()}};
            steps = {0};
        } else {
            version = source.requireMassAxis();
            source.massAxis()->cut(axis->edges, ranges, steps);
        }
        for (std::uint32_t& cell : steps) {
            cell *= axis->step;
        }
        if (!areAllIndices) {
            restrict(ranges, steps, allowed);
        }
        ofIndex.build(ranges, steps, axis->outside, source.binCount());
    }

    // Whether it would be built the same.
    bool isFor(FrameSource& source, const FrameBox& box, const SharedAxis& along) const {
        return (axis->edges.empty() || version == source.requireMassAxis()) &&
               areAllIndices == box.areAllIndices && allowed == box.indices && areAlike(axis, along);
    }

    const IndexCells& table() const { return ofIndex; }
    std::size_t bytes() const { return ofIndex.bytes() + sizeof(double) * axis->edges.size(); }

private:
    // What a query's range of m/z leaves of the cells.
    // Every pair is compared: a query has one range of indices, or a few where a calibration is not
    // monotonic.
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

    SharedAxis axis;
    bool areAllIndices;
    std::vector<IndexRange> allowed;
    std::uint64_t version = 0;  // of the mass axis
    IndexCells ofIndex;
};

// What a peak's scan adds, by its 1/K0. Mobilities are compared value by value: scans of two frames may have the
// same though their calibrations are different rows.
class ScanSteps {
public:
    ScanSteps(std::span<const double> ofScans, SharedAxis along)
        : axis(std::move(along)), mobilities(ofScans.begin(), ofScans.end()) {
        for (const double mobility : mobilities) {
            const std::uint32_t cell = cellOf(axis->edges, mobility);
            steps.push_back(cell == kOutside ? axis->outside : cell * axis->step);
        }
    }

    bool isFor(std::span<const double> ofScans, const SharedAxis& along) const {
        return std::equal(ofScans.begin(), ofScans.end(), mobilities.begin(), mobilities.end()) &&
               areAlike(axis, along);
    }

    std::span<const std::uint32_t> ofScans() const { return steps; }
    std::size_t bytes() const { return sizeof(double) * (axis->edges.size() + 2 * mobilities.size()); }

private:
    SharedAxis axis;
    std::vector<double> mobilities;
    std::vector<std::uint32_t> steps;
};

// Those of the last image, most of which have the same axes as the next; unless they are large.
struct LastSteps final : KeptWithReader {
    static constexpr std::size_t kMostBytes = 1 << 20;

    std::shared_ptr<const MassSteps> masses;
    std::shared_ptr<const ScanSteps> scans;
};

struct Grid {
    GridAxis x;
    GridAxis y;

    const GridAxis* axisOf(GridAxis::Kind kind) const {
        return x.kind == kind ? &x : y.kind == kind ? &y : nullptr;
    }
    // How far apart neighbouring cells of an axis are in the image, which lies row by row, y before x.
    std::uint32_t stepOf(GridAxis::Kind kind) const {
        return x.kind == kind ? 1 : y.kind == kind ? static_cast<std::uint32_t>(x.cells()) : 0;
    }
    std::uint32_t cells() const { return static_cast<std::uint32_t>(x.cells() * y.cells()); }

    SharedAxis stepsAlong(GridAxis::Kind kind) const {
        const GridAxis* const axis = axisOf(kind);
        return std::make_shared<const AxisSteps>(
            AxisSteps{axis == nullptr ? std::vector<double>() : axis->edges, stepOf(kind), cells()});
    }
};

// Two successive values, loaded as one. Which of them is first depends on the byte order, for all pairs alike.
struct Pair {
    explicit Pair(const std::uint32_t* values) {
        std::uint64_t both;
        std::memcpy(&both, values, sizeof both);
        first = static_cast<std::uint32_t>(both);
        second = static_cast<std::uint32_t>(both >> 32);
    }

    std::uint32_t first;
    std::uint32_t second;
};

// One thread's image. Images of several threads are merged cell by cell; values are integers, so the order
// does not matter.
//
// The places of a batch's peaks are found first, then their intensities are added while places further on are
// fetched: an image is larger than the processor's innermost caches. What is in no cell is added at a place
// after the last, which costs less than asking about each peak.
template <Reduce kind>
class ImageSum final : public Accumulator {
public:
    ImageSum(const FrameWork& shared, const Grid& wanted)
        : work(shared),
          grid(wanted),
          alongMasses(grid.stepsAlong(GridAxis::Kind::Mass)),
          alongScans(grid.stepsAlong(GridAxis::Kind::OneOverK0)),
          outside(grid.cells()),
          image(std::size_t{outside} + 1) {
        std::fill_n(values(), image.count, 0);
    }

    // A frame outside of the time axis is not read at all.
    void add(FrameSource& source, const FrameBox& box, const FrameEntry& frame) override {
        const GridAxis* const time = grid.axisOf(GridAxis::Kind::Time);
        const std::uint32_t timeCell = time == nullptr ? 0 : cellOf(time->edges, frame.time);
        if (timeCell == kOutside || box.isEmpty()) {
            return;
        }
        findSteps(source, box);
        const std::uint32_t base = timeCell * grid.stepOf(GridAxis::Kind::Time);
        ScanwiseSink sink(box, work.control.onDamage, [&](const PeakBatch& batch) {
            findPlaces(batch, base);
            addPeaks(batch);
        });
        sink.readFrom(source);
    }

    void merge(Accumulator& other) override {
        const auto& another = static_cast<const ImageSum&>(other);
        for (std::size_t i = 0; i < outside; ++i) {
            reduceInto<kind>(values()[i], another.values()[i]);
        }
    }

    arrow::RecordBatch finish() override {
        arrow::RecordBatch batch;
        const std::size_t rows = grid.y.cells();
        batch.length = static_cast<std::int64_t>(rows);
        batch.columns = {arrow::numbers(rows, arrow::toBuffer(std::vector<double>(grid.y.edges.begin(),
                                                                                  grid.y.edges.end() - 1))),
                         arrow::fixedSizeLists(rows, grid.x.cells(), image.buffer())};
        return batch;
    }

private:
    std::uint64_t* values() const { return image.data.get(); }

    void findSteps(FrameSource& source, const FrameBox& box) {
        auto& last = source.kept<LastSteps>();
        choose(
            masses, last.masses,
            [&](const MassSteps& steps) { return steps.isFor(source, box, alongMasses); },
            [&] { return std::make_shared<const MassSteps>(source, box, alongMasses); });
        if (grid.axisOf(GridAxis::Kind::OneOverK0) != nullptr) {
            const std::span<const double> mobilities = source.requireOneOverK0();
            choose(
                scans, last.scans,
                [&](const ScanSteps& steps) { return steps.isFor(mobilities, alongScans); },
                [&] { return std::make_shared<const ScanSteps>(mobilities, alongScans); });
        }
    }

    // Those of the last frame, of the last image, or new ones.
    template <class Steps, class IsRight, class Make>
    static void choose(std::shared_ptr<const Steps>& own, std::shared_ptr<const Steps>& last,
                       const IsRight& isRight, const Make& make) {
        if (own != nullptr && isRight(*own)) {
            return;
        }
        own = last != nullptr && isRight(*last) ? last : make();
        last = own->bytes() <= LastSteps::kMostBytes ? own : nullptr;
    }

    void findPlaces(const PeakBatch& batch, std::uint32_t base) {
        const std::size_t room = batch.peaks + std::max<std::size_t>(IndexCells::kRoom, kFetched);
        if (places.size() < room) {
            places.resize(room);
        }
        masses->table().places(batch, scans == nullptr ? std::span<const std::uint32_t>() : scans->ofScans(),
                               base, places.data());
    }

    // Successive peaks of a scan are often in the same cell, and each addition would wait for the one before
    // it. So the loop takes in turn peaks that are a quarter of the batch apart, two of each quarter, which are
    // loaded together.
    void addPeaks(const PeakBatch& batch) {
        std::uint64_t* const cells = values();
        const std::uint32_t* const ofPeaks = places.data();
        const auto addPair = [&](std::size_t i) {
            const Pair ahead(ofPeaks + i + kFetched);
            __builtin_prefetch(cells + ahead.first, 1);
            __builtin_prefetch(cells + ahead.second, 1);
            const Pair place(ofPeaks + i);
            const Pair intensity(batch.intensities + i);
            reduceInto<kind>(cells[place.first], worthOf<kind>(intensity.first));
            reduceInto<kind>(cells[place.second], worthOf<kind>(intensity.second));
        };
        const std::size_t quarter = batch.peaks / 8 * 2;
        for (std::size_t i = 0; i < quarter; i += 2) {
            addPair(i);
            addPair(i + quarter);
            addPair(i + 2 * quarter);
            addPair(i + 3 * quarter);
        }
        for (std::size_t i = 4 * quarter; i < batch.peaks; ++i) {
            reduceInto<kind>(cells[ofPeaks[i]], worthOf<kind>(batch.intensities[i]));
        }
    }

    static constexpr std::size_t kFetched = 64;  // so many peaks ahead

    const FrameWork& work;
    const Grid& grid;
    const SharedAxis alongMasses;
    const SharedAxis alongScans;
    const std::uint32_t outside;  // place of peaks that are in no cell
    std::shared_ptr<const MassSteps> masses;
    std::shared_ptr<const ScanSteps> scans;  // none without an axis of 1/K0
    std::vector<std::uint32_t> places;       // of the peaks of a batch
    arrow::Values<std::uint64_t> image;      // y x x, then one more
};

}  // namespace

std::unique_ptr<arrow::BatchSource> makeImage(std::shared_ptr<Run> run, Query query, GridAxis x, GridAxis y,
                                              Reduce reduce, const Control& control) {
    if (std::uint64_t{x.cells()} * y.cells() > kMostCells) {
        LUMO_THROW(std::invalid_argument("An image cannot have more than 2^30 cells."));
    }
    std::vector<FrameGroup> groups = groupFrames(query.frames, kPeaksPerGroup);
    auto work = std::make_shared<const FrameWork>(
        FrameWork{std::move(run), std::move(query), control, std::move(groups)});
    const std::string list = "+w:" + std::to_string(x.cells());
    const std::uint64_t bytes = 8 * std::uint64_t{x.cells()} * y.cells();
    auto grid = std::make_shared<const Grid>(Grid{std::move(x), std::move(y)});
    return makeFoldStream(work,
                          {{{"y", "g"}, {"values", list, arrow::Nulls::None, {{"item", "L"}}}},
                           [work = work.get(), grid, reduce] {
                               return withReduce(reduce, [&](auto kind) -> std::unique_ptr<Accumulator> {
                                   return std::make_unique<ImageSum<decltype(kind)::value>>(*work, *grid);
                               });
                           },
                           bytes});
}

}  // namespace lumo::run
