#include "process-frames/full_profile_projector.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "diag/assert.h"
#include "diag/throw.h"

// Collecting peaks is copying them: two arrays per frame, of exactly the right size. Peaks are looked at one
// by one only where they may lie outside of the profile.
namespace lumo::algorithm {

namespace {

// Whether all indices are in [0, end). Without a branch, so that it becomes vector code: an index that is
// negative or beyond the last one sets the highest bit.
bool areBelow(std::span<const int> indices, std::size_t end) {
    constexpr std::size_t kMaxEnd = std::size_t{1} << 31;
    const auto last = static_cast<std::uint32_t>(std::min(end, kMaxEnd)) - 1;
    std::uint32_t signs = end == 0 ? ~0U : 0;
    for (const int index : indices) {
        signs |= static_cast<std::uint32_t>(index) | (last - static_cast<std::uint32_t>(index));
    }
    return signs >> 31 == 0;
}

}  // namespace

template <class Intensity>
void FullProfileProjector<Intensity>::setParameters(std::size_t firstIndex, std::size_t count) {
    if (capacityIsFixed && capacity < count) {
        LUMO_THROW(std::invalid_argument("Fixed capacity (" + std::to_string(capacity) + ") exceeded."));
    }
    // Collected peaks may lie beyond the new end, and must be inside. In bins, resizing drops those that do
    // not.
    if (count < bins && !hasBins()) {
        makeDense();
    }
    if (hasBins()) {
        dense.resize(count);
    }
    first = firstIndex;
    bins = count;
}

template <class Intensity>
void FullProfileProjector<Intensity>::setFixedCapacity(std::size_t newCapacity) {
    capacityIsFixed = true;
    capacity = newCapacity;
}

template <class Intensity>
void FullProfileProjector<Intensity>::add(const DataFrame<int, Intensity>& frame) {
    const std::size_t peaks = frame.numberOfPeaks();
    LUMO_ASSERT(peaks <= frame.indices.size() && peaks <= frame.intensities.size());
    // From here on collecting would take more memory than bins do: a collected peak costs an index as well.
    if (!hasBins() &&
        (collectedCount + peaks) * (sizeof(std::uint32_t) + sizeof(Intensity)) > bins * sizeof(Intensity)) {
        makeDense();
    }
    if (hasBins()) {
        addToBins(frame, peaks);
    } else {
        collect(frame, peaks);
    }
}

template <class Intensity>
void FullProfileProjector<Intensity>::addToBins(const DataFrame<int, Intensity>& frame, std::size_t peaks) {
    for (std::size_t i = 0; i < peaks; ++i) {
        if (const std::uint64_t bin = binOf(frame.indices[i]); bin < bins) {
            dense[bin] = wrappingSum(dense[bin], frame.intensities[i]);
        }
    }
}

// Exactly as much memory as there are peaks: thousands of profiles are open at a time.
template <class Intensity>
void FullProfileProjector<Intensity>::collect(const DataFrame<int, Intensity>& frame, std::size_t peaks) {
    Part part;
    part.bins = std::make_unique_for_overwrite<std::uint32_t[]>(peaks);
    part.intensities = std::make_unique_for_overwrite<Intensity[]>(peaks);
    if (first == 0 && areBelow({frame.indices.data(), peaks}, bins)) {  // as nearly always
        std::copy_n(frame.indices.data(), peaks, part.bins.get());
        std::copy_n(frame.intensities.data(), peaks, part.intensities.get());
        part.count = peaks;
    } else {
        for (std::size_t i = 0; i < peaks; ++i) {
            const std::uint64_t bin = binOf(frame.indices[i]);
            part.bins[part.count] = static_cast<std::uint32_t>(bin);
            part.intensities[part.count] = frame.intensities[i];
            part.count += bin < bins ? 1 : 0;
        }
    }
    collectedCount += part.count;
    if (part.count > 0) {
        collected.push_back(std::move(part));
    }
}

template <class Intensity>
void FullProfileProjector<Intensity>::makeDense() {
    dense = profile();
    collected.clear();
    collectedCount = 0;
}

template <class Intensity>
void FullProfileProjector<Intensity>::clear() {
    dense.clear();
    collected.clear();
    collectedCount = 0;
}

template <class Intensity>
std::vector<Intensity> FullProfileProjector<Intensity>::profile() const {
    if (hasBins()) {
        return dense;
    }
    std::vector<Intensity> result(bins);
    for (const Part& part : collected) {
        for (std::size_t i = 0; i < part.count; ++i) {
            Intensity& bin = result[part.bins[i]];
            bin = wrappingSum(bin, part.intensities[i]);
        }
    }
    return result;
}

template class FullProfileProjector<int>;

}  // namespace lumo::algorithm
