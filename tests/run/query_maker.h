#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <vector>

#include "run/known_run.h"

namespace run {

// A query and what it points to.
struct MadeQuery {
    MadeQuery() = default;
    MadeQuery(const MadeQuery&) = delete;
    MadeQuery& operator=(const MadeQuery&) = delete;

    kvr_query query = emptyQuery();
    kvr_range mz{};
    kvr_range mobility{};
    kvr_range time{};
    std::vector<std::int64_t> frames;
};

// Makes queries of the numbers that a source gives by `below(end)`. Hostile ones may ask for anything; all others are sound.
template <class Source>
class QueryMaker {
public:
    QueryMaker(Source& numbers, const KnownRun& run, bool isHostile)
        : source(numbers), known(run), hostile(isHostile) {}

    void fill(MadeQuery& made) {
        made.mz = range(&KnownPeak::mz);
        made.mobility = range(&KnownPeak::mobility);
        made.time = range(&KnownPeak::time);
        kvr_query& query = made.query;
        query.mz = maybe(made.mz);
        query.one_over_k0 = known.hasMobilities() ? maybe(made.mobility) : nullptr;
        query.time = maybe(made.time);
        query.ms_level = source.below(hostile ? 4 : 3);
        query.intensities = source.below(hostile ? 4 : 3);
        query.scan_begin = source.below(10);
        query.scan_end = source.below(2) == 0 ? 0 : query.scan_begin + source.below(30) + 1;
        if (hostile && source.below(8) == 0) {
            query.scan_end = source.below(8);
        }
        if (source.below(3) == 0) {
            list(made);
        }
    }

    kvr_target target() {
        return {range(&KnownPeak::mz), known.hasMobilities() ? range(&KnownPeak::mobility) : kWhole,
                range(&KnownPeak::time)};
    }

    kvr_axis axis(std::uint32_t kind) {
        double KnownPeak::*const value = kind == KVR_AXIS_TIME ? &KnownPeak::time
                                         : kind == KVR_AXIS_MZ ? &KnownPeak::mz
                                                               : &KnownPeak::mobility;
        kvr_range ends = betweenPeaks(value);
        if (hostile && source.below(4) == 0) {
            ends = strange();
        }
        return {kind, 1 + source.below(20), ends.low, ends.high + (ends.low == ends.high ? 1.0 : 0.0)};
    }

private:
    static constexpr double kInfinity = std::numeric_limits<double>::infinity();
    static constexpr kvr_range kWhole = {-kInfinity, kInfinity};

    const kvr_range* maybe(const kvr_range& given) { return source.below(3) == 0 ? nullptr : &given; }

    kvr_range range(double KnownPeak::*value) {
        if (hostile && source.below(8) == 0) {
            return strange();
        }
        return source.below(4) == 0 ? kWhole : betweenPeaks(value);
    }

    // Bounds are those of peaks, so that it matters that ranges are closed.
    kvr_range betweenPeaks(double KnownPeak::*value) {
        const auto count = static_cast<std::uint32_t>(known.peaks().size());
        const double a = known.peaks()[source.below(count)].*value;
        const double b = known.peaks()[source.below(count)].*value;
        return {std::min(a, b), std::max(a, b)};
    }

    kvr_range strange() {
        using Limits = std::numeric_limits<double>;
        constexpr std::array values = {-kInfinity, -Limits::max(),       -1.0,      -0.0,
                                       0.0,        Limits::denorm_min(), 1.0,       1e6,
                                       1e300,      Limits::max(),        kInfinity, Limits::quiet_NaN()};
        return {values[source.below(values.size())], values[source.below(values.size())]};
    }

    void list(MadeQuery& made) {
        const auto count = static_cast<std::uint32_t>(known.frames().size());
        made.frames.resize(source.below(hostile && source.below(16) == 0 ? 2000 : 2 * count));
        for (std::int64_t& id : made.frames) {
            id = hostile && source.below(64) == 0 ? -1 : known.frames()[source.below(count)].id;
        }
        made.frames.reserve(1);  // an empty list is one, too
        made.query.frames = made.frames.data();
        made.query.num_frames = made.frames.size();
    }

    Source& source;
    const KnownRun& known;
    const bool hostile;
};

}  // namespace run
