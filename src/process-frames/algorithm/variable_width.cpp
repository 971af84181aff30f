#include "process-frames/algorithm/variable_width.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>

#include "diag/throw.h"

// Widths are computed segment by segment and not bin by bin: a profile of 400,000 bins has a few dozen of
// them. The numbers that they are computed from come from a file, so each is compared before it becomes an
// index.
namespace lumo::algorithm {

namespace {

// A table is made for this many more bins than asked for, so that slightly longer profiles can use it.
constexpr std::size_t kReserve = 5000;
constexpr unsigned kMaxWidth = 201;
// Where huge constants put the end of a segment; far beyond any profile, and one more still is a number.
constexpr double kLastIndex = 4.0e18;

std::size_t withReserve(std::size_t n) {
    constexpr std::size_t kMax = std::numeric_limits<std::size_t>::max();
    return n > kMax - kReserve ? kMax : n + kReserve;
}

}  // namespace

template <class Index>
void variableWidth<Index>::clear() {
    start.clear();
    end.clear();
    width.clear();
    covered = 0;
}

template <class Index>
void variableWidth<Index>::setWidths(std::size_t n, double tA, double tDelay, double tBase, double D) {
    if (n <= covered) {
        return;
    }
    clear();
    model = {tA, tDelay, tBase, D};
    const std::size_t needed = withReserve(n);
    const double intercept = (tA - tDelay) / tBase;
    const double slope = 2.0 * D;
    Index next = 0;
    unsigned k = 1;
    for (; next < needed && k <= kMaxWidth; k += 2) {
        const double x = k * slope + intercept;
        if (!(x >= 0.0) || std::isinf(x)) {  // not-a-number as well: there is no time axis to smooth along
            continue;
        }
        const auto last = static_cast<Index>(std::floor(std::fmin(x, kLastIndex)));
        if (last < next) {
            continue;
        }
        start.push_back(next);
        end.push_back(last);
        width.push_back(k);
        next = last + 1;
    }
    // Deliberate: only stopping one width before the end is refused. A table that has used up all widths is
    // accepted, though it may end before the profile does.
    if (k == kMaxWidth) {
        clear();
        LUMO_THROW(std::runtime_error("setWidths() reached maximum width."));
    }
    covered = needed;
}

template <class Index>
Index variableWidth<Index>::startOfWideSegments() const {
    for (std::size_t i = 0; i < width.size(); ++i) {
        if (width[i] >= 3) {
            return start[i];
        }
    }
    return 0;
}

template class variableWidth<unsigned long>;

}  // namespace lumo::algorithm
