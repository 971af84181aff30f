#include "kovarun/query/mass_axis.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <utility>

#include "diag/assert.h"
#include "diag/throw.h"

namespace lumo::run {

namespace {

using ::lumo::calibration::ICalibrationTransformator;

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

// A model raises where an index has no m/z, which to a search is just one more value that is not in the
// range.
double massOf(const ICalibrationTransformator& trafo, double index) {
    return trafo.DIndexToMassFails({&index, 1}) ? kNone : trafo.DIndexToMass(index);
}

// Conversions of fewer values than this are not shared with the library's worker threads: a stream has
// threads of its own.
constexpr std::size_t kPerConversion = 4000;

// Where some indices fail, they are found by halving. No exception is raised on the way: a damaged
// calibration may convert none of millions of indices, and as many exceptions would take minutes.
void convertWhereDefined(const ICalibrationTransformator& trafo, std::span<const double> in,
                         std::span<double> out) {
    if (!trafo.DIndexToMassFails(in)) {
        trafo.DIndexToMassOnThisThread(in, out);
        return;
    }
    const std::size_t half = in.size() / 2;
    if (half == 0) {
        out[0] = kNone;
        return;
    }
    convertWhereDefined(trafo, in.first(half), out.first(half));
    convertWhereDefined(trafo, in.subspan(half), out.subspan(half));
}

// A place to begin looking from; any will do.
std::uint32_t placeOf(double index, std::uint32_t bins) {
    if (!(index > 0.0)) {
        return 0;
    }
    return index < bins ? static_cast<std::uint32_t>(std::ceil(index)) : bins;
}

}  // namespace

MassAxis::MassAxis(io::kova::AnalysisReader::MzTrafoPtr calibration, std::uint32_t bins)
    : trafo(std::move(calibration)), binCount(bins), monotonic(isIncreasing()) {
    LUMO_ASSERT(trafo != nullptr && bins > 0);
}

// The ends alone would not do, since a cubic calibration may turn back between them; the model says how far
// it is monotonic around the middle.
bool MassAxis::isIncreasing() const {
    const double lowest = massOf(*trafo, 0.0);
    const double highest = massOf(*trafo, binCount - 1.0);
    if (!std::isfinite(lowest) || !std::isfinite(highest) || (binCount > 1 && lowest >= highest)) {
        return false;
    }
    const auto [low, high] = trafo->monotonicMassRange(lowest + (highest - lowest) / 2);
    return low <= lowest && highest <= high;
}

// Guesses the places of all values with the inverse function, converts both neighbours of each guess in one
// go, and goes on step by step only where a neighbour contradicts the guess. So thousands of targets cost a
// few conversions of arrays.
std::vector<std::uint32_t> MassAxis::bounds(std::span<const double> mz, Bound kind) const {
    LUMO_ASSERT(monotonic);
    const auto isBefore = [kind](double mass, double value) {
        return kind == Bound::Upper ? mass <= value : mass < value;
    };
    std::vector<double> places(mz.size());
    placesOf(mz, places);
    std::vector<std::uint32_t> found(mz.size());
    std::vector<double> neighbours;  // the index before the guess and the guess itself, of all values
    neighbours.reserve(2 * mz.size());
    for (std::size_t i = 0; i < mz.size(); ++i) {
        found[i] = placeOf(places[i], binCount);
        neighbours.push_back(std::max(found[i], 1U) - 1.0);
        neighbours.push_back(std::min(found[i], binCount - 1));
    }
    massesOf(neighbours, neighbours);
    for (std::size_t i = 0; i < mz.size(); ++i) {
        std::uint32_t& bound = found[i];
        const bool isAfterLast = bound > 0 && isBefore(neighbours[2 * i], mz[i]);
        const bool isAtFirst = bound < binCount && !isBefore(neighbours[2 * i + 1], mz[i]);
        if ((isAfterLast || bound == 0) && (isAtFirst || bound == binCount)) {
            continue;
        }
        while (bound > 0 && !isBefore(massOf(*trafo, bound - 1.0), mz[i])) {
            --bound;
        }
        while (bound < binCount && isBefore(massOf(*trafo, bound), mz[i])) {
            ++bound;
        }
    }
    return found;
}

// Two searches, or a walk over all indices where the axis is not monotonic.
std::vector<IndexRange> MassAxis::indicesOf(const Range& mz) const {
    std::vector<IndexRange> ranges;
    if (monotonic) {
        const IndexRange range = {lowerBounds({&mz.low, 1})[0], upperBounds({&mz.high, 1})[0]};
        if (range.begin < range.end) {
            ranges.push_back(range);
        }
        return ranges;
    }
    const std::span<const double> all = allMasses();
    for (std::uint32_t index = 0; index < binCount; ++index) {
        if (!mz.contains(all[index])) {
            continue;
        }
        if (ranges.empty() || ranges.back().end != index) {
            ranges.push_back({index, index});
        }
        ranges.back().end = index + 1;
    }
    return ranges;
}

void MassAxis::massesOf(std::span<const double> indices, std::span<double> mz) const {
    LUMO_ASSERT(indices.size() == mz.size());
    for (std::size_t begin = 0; begin < indices.size(); begin += kPerConversion) {
        const std::size_t count = std::min(kPerConversion, indices.size() - begin);
        convertWhereDefined(*trafo, indices.subspan(begin, count), mz.subspan(begin, count));
    }
}

void MassAxis::placesOf(std::span<const double> mz, std::span<double> indices) const {
    LUMO_ASSERT(mz.size() == indices.size());
    for (std::size_t begin = 0; begin < mz.size(); begin += kPerConversion) {
        const std::size_t count = std::min(kPerConversion, mz.size() - begin);
        trafo->MassToDIndex(mz.subspan(begin, count), indices.subspan(begin, count));
    }
}

// Each inner edge belongs to the cell that begins there; the last edge is inside, so that a peak at the upper
// end of a range is not lost.
void MassAxis::cut(const std::vector<double>& edges, std::vector<IndexRange>& ranges,
                   std::vector<std::uint32_t>& cells) const {
    LUMO_ASSERT(edges.size() >= 2 && std::is_sorted(edges.begin(), edges.end()));
    const auto lastCell = static_cast<std::uint32_t>(edges.size() - 2);
    if (monotonic) {
        std::vector<std::uint32_t> begins = lowerBounds(edges);
        begins.back() = upperBounds({&edges.back(), 1})[0];
        for (std::uint32_t cell = 0; cell <= lastCell; ++cell) {
            if (begins[cell] < begins[cell + 1]) {
                ranges.push_back({begins[cell], begins[cell + 1]});
                cells.push_back(cell);
            }
        }
        return;
    }
    for (std::uint32_t cell = 0; cell <= lastCell; ++cell) {
        const double high =
            cell == lastCell ? edges.back() : std::nextafter(edges[cell + 1], -Range::kInfinity);
        for (const IndexRange& range : indicesOf({edges[cell], high})) {
            ranges.push_back(range);
            cells.push_back(cell);
        }
    }
}

// The number of indices comes from the metadata, so it is held against a limit before memory is taken: half a
// gigabyte.
std::span<const double> MassAxis::allMasses() const {
    constexpr std::uint32_t kMostBins = 1 << 26;
    if (binCount > kMostBins) {
        LUMO_THROW(std::runtime_error("The mass calibration cannot be inverted over so many indices."));
    }
    if (masses.empty()) {
        masses.resize(binCount);
        std::iota(masses.begin(), masses.end(), 0.0);
        massesOf(masses, masses);
    }
    return masses;
}

}  // namespace lumo::run
