#include "kova-simulate/precursor_schedule.h"

#include <algorithm>

// Strongest ions first, as an instrument chooses. A range of scans is used once in a frame, so each MS/MS
// frame fragments several precursors one after the other.
namespace simulator {

namespace {

// The scan ranges that are taken in one MS/MS frame.
class FramePlan {
public:
    bool isFree(std::uint32_t begin, std::uint32_t end, std::size_t maxPerFrame) const {
        return ranges.size() < maxPerFrame &&
               std::none_of(ranges.begin(), ranges.end(),
                            [&](const auto& range) { return begin < range.second && range.first < end; });
    }
    void take(std::uint32_t begin, std::uint32_t end) { ranges.emplace_back(begin, end); }
    std::size_t load() const { return ranges.size(); }

private:
    std::vector<std::pair<std::uint32_t, std::uint32_t>> ranges;
};

}  // namespace

std::vector<ScheduledPrecursor> schedulePrecursors(std::span<const ElutingIon> candidates,
                                                   const ScheduleRules& rules, Random& random) {
    std::vector<FramePlan> plans(rules.msmsFrames);
    std::vector<ScheduledPrecursor> scheduled;
    const std::size_t mostFrames = std::min(rules.maxRepetitions, rules.msmsFrames);
    const std::size_t fewestFrames = std::min(rules.minRepetitions, mostFrames);
    for (const auto& [ion, intensity] : candidates) {
        const auto centre = static_cast<std::int64_t>(ion->scan + 0.5);
        const auto half = static_cast<std::int64_t>(rules.rangeWidth / 2);
        const auto begin =
            static_cast<std::uint32_t>(std::clamp<std::int64_t>(centre - half, 0, rules.scans - 1));
        const auto end =
            static_cast<std::uint32_t>(std::clamp<std::int64_t>(centre + half + 1, begin + 1, rules.scans));
        std::vector<std::size_t> free;
        for (std::size_t frame = 0; frame < plans.size(); ++frame) {
            if (plans[frame].isFree(begin, end, rules.maxPerFrame)) {
                free.push_back(frame);
            }
        }
        if (free.size() < fewestFrames || free.empty()) {
            continue;
        }
        // The least loaded frames first, so that all frames fill up alike.
        std::stable_sort(free.begin(), free.end(),
                         [&](std::size_t a, std::size_t b) { return plans[a].load() < plans[b].load(); });
        const std::size_t wanted =
            fewestFrames + random.below(static_cast<std::uint32_t>(mostFrames - fewestFrames + 1));
        free.resize(std::min(free.size(), wanted));
        std::sort(free.begin(), free.end());
        for (const std::size_t frame : free) {
            plans[frame].take(begin, end);
        }
        scheduled.push_back({ion, intensity, begin, end, std::move(free)});
    }
    return scheduled;
}

}  // namespace simulator
