#include "kova-simulate/acquisition.h"

#include <algorithm>

// A cycle is computed from its number alone: the ions that elute then, and a schedule from random numbers
// that belong to this cycle. So threads may take cycles in any order.
namespace simulator {

namespace {

constexpr std::size_t kMostKnown = 4096;
constexpr std::size_t kMostCandidates = 1000;           // the strongest, far more than there is time for
constexpr std::uint64_t kScheduleNumbers = 1ULL << 40;  // apart from the frames' sequences of random numbers

}  // namespace

std::span<const IsotopeLine> FragmentLines::of(const Ion& ion) {
    std::vector<IsotopeLine>& lines = known[&ion];
    if (lines.empty()) {
        lines = fragmentLines(instrument, ion);
    }
    return lines;
}

void FragmentLines::forgetIfMany() {
    if (known.size() > kMostKnown) {
        known.clear();
    }
}

std::vector<Arrival> ms1Arrivals(const Cycle& cycle) {
    std::vector<Arrival> arrivals;
    arrivals.reserve(cycle.eluting.size());
    for (const auto& [ion, intensity] : cycle.eluting) {
        arrivals.push_back({ion->scan, intensity, ion->lines});
    }
    return arrivals;
}

std::vector<Arrival> msmsArrivals(const Cycle& cycle, std::size_t msmsFrame, FragmentLines& fragments) {
    std::vector<Arrival> arrivals;
    for (const ScheduledPrecursor& precursor : cycle.precursors) {
        if (std::binary_search(precursor.frames.begin(), precursor.frames.end(), msmsFrame)) {
            arrivals.push_back({precursor.ion->scan, precursor.intensity, fragments.of(*precursor.ion),
                                precursor.scanBegin, precursor.scanEnd});
        }
    }
    return arrivals;
}

Cycle Acquisition::cycle(std::size_t number) const {
    Cycle cycle{};
    cycle.firstFrame = number * plan.framesPerCycle;
    cycle.msmsFrames = std::min(plan.framesPerCycle, plan.frames - cycle.firstFrame) - 1;
    cycle.eluting = sample.eluting(timeOf(cycle.firstFrame));
    if (cycle.msmsFrames > 0) {
        const auto width =
            std::max<std::uint32_t>(3, static_cast<std::uint32_t>(4.0 * instrument.mobilityWidth()));
        const std::span<const ElutingIon> strongest(cycle.eluting.data(),
                                                    std::min(cycle.eluting.size(), kMostCandidates));
        Random random(plan.seed, kScheduleNumbers + number);
        cycle.precursors =
            schedulePrecursors(strongest, {instrument.scanCount(), cycle.msmsFrames, width}, random);
    }
    return cycle;
}

}  // namespace simulator
