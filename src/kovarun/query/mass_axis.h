#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "calibration/i_calibration_transformator.h"
#include "kovarun/query/query.h"

// Ranges of m/z become ranges of whole indices, so that peaks are compared as integers and never converted. A
// peak is in the range of indices exactly if its own m/z, as the conversion of its index gives it, is in the
// range of m/z. The inverse function rounds differently, so it only says where to look; the indices around
// that place decide.
//
// This takes an m/z that grows with the index, as that of every sound calibration does. Coefficients may be
// such that it does not, or that indices have no m/z at all. Then all indices are converted once, and a range
// of m/z may be several ranges of indices.
namespace lumo::run {

// Indices [begin, end). The comparison in contains() is one for both ends: below `begin` the difference wraps
// around and is large.
struct IndexRange {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;

    bool contains(std::uint32_t index) const { return index - begin < end - begin; }
    bool operator==(const IndexRange&) const = default;
};

// A mass calibration over the indices [0, bins) of an analysis, with the searches that queries need. Used by
// one thread: the table of all masses is made when it is first asked for.
class MassAxis {
public:
    // `bins` is the number of indices.
    MassAxis(io::kova::AnalysisReader::MzTrafoPtr calibration, std::uint32_t bins);

    const ::lumo::calibration::ICalibrationTransformator& transformator() const { return *trafo; }
    bool isMonotonic() const { return monotonic; }
    bool convertsAs(const MassAxis& other) const { return trafo->Equals(other.trafo); }

    // m/z in Th of indices, and indices of m/z, on the calling thread: the threads of a stream are busy with
    // frames of their own. NaN where there is none. Both arrays have the same length, and may be the same.
    void massesOf(std::span<const double> indices, std::span<double> mz) const;
    void placesOf(std::span<const double> mz, std::span<double> indices) const;

    // Cuts the indices into the cells between successive edges, which ascend. A cell holds its lower edge,
    // and the last cell both. Appends for each range of indices the number of its cell; a cell may have no
    // range, or several.
    void cut(const std::vector<double>& edges, std::vector<IndexRange>& ranges,
             std::vector<std::uint32_t>& cells) const;

    // Of each value the first index whose m/z is at least the value; `bins` if there is none. Only where
    // isMonotonic().
    std::vector<std::uint32_t> lowerBounds(std::span<const double> mz) const {
        return bounds(mz, Bound::Lower);
    }
    // Of each value the first index whose m/z is above it.
    std::vector<std::uint32_t> upperBounds(std::span<const double> mz) const {
        return bounds(mz, Bound::Upper);
    }

    // The indices whose m/z lies in a range, as ranges that ascend, do not touch and are not empty.
    std::vector<IndexRange> indicesOf(const Range& mz) const;

    // m/z of every index, NaN of one that has none; computed at the first call.
    std::span<const double> allMasses() const;

private:
    enum class Bound { Lower, Upper };  // the first index at the value, or above it

    std::vector<std::uint32_t> bounds(std::span<const double> mz, Bound kind) const;
    bool isIncreasing() const;

    io::kova::AnalysisReader::MzTrafoPtr trafo;
    std::uint32_t binCount;
    bool monotonic;
    mutable std::vector<double> masses;
};

}  // namespace lumo::run
