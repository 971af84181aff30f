#include "process-frames/full_profile_projector.h"

#include <stdexcept>
#include <string>
#include <utility>

#include "diag/throw.h"

namespace lumo::algorithm {

template <class Intensity>
void FullProfileProjector<Intensity>::setParameters(std::size_t firstIndex, std::size_t count) {
    if (capacityIsFixed && capacity < count) {
        LUMO_THROW(std::invalid_argument("Fixed capacity (" + std::to_string(capacity) + ") exceeded."));
    }
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
    if (!hasBins() && (collectedCount + peaks) * sizeof(Peak) > bins * sizeof(Intensity)) {
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

template <class Intensity>
void FullProfileProjector<Intensity>::collect(const DataFrame<int, Intensity>& frame, std::size_t peaks) {
    Part part{std::make_unique_for_overwrite<Peak[]>(peaks), 0};
    const std::uint64_t end = bins;
    Peak* inside = part.peaks.get();
    for (std::size_t i = 0; i < peaks; ++i) {
        const std::uint64_t bin = binOf(frame.indices[i]);
        *inside = {static_cast<std::uint32_t>(bin), frame.intensities[i]};
        inside += bin < end ? 1 : 0;
    }
    part.count = static_cast<std::size_t>(inside - part.peaks.get());
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
        for (const Peak& peak : part.view()) {
            result[peak.bin] = wrappingSum(result[peak.bin], peak.intensity);
        }
    }
    return result;
}

template class FullProfileProjector<int>;

}  // namespace lumo::algorithm
