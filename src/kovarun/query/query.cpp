#include "kovarun/query/query.h"

#include <cmath>
#include <stdexcept>
#include <string>

#include "diag/throw.h"
#include "kovarun/run/sized.h"

// What a caller asks for, checked once, so that nothing further down has to think about bounds that are NaN
// or ranges that end before they begin. The frames are chosen from the catalog now: frames that a writer adds
// later are not in the query.
namespace lumo::run {

namespace {

std::optional<Range> optionalRange(const kvr_range* range, const char* what) {
    return range == nullptr ? std::nullopt : std::optional(checkedRange(*range, what));
}

FrameEntries listedOrAll(Run& run, const kvr_query& query) {
    if (query.frames == nullptr) {
        if (query.num_frames != 0) {
            LUMO_THROW(std::invalid_argument("The query has a number of frames, and no frames."));
        }
        return *run.catalog().all();
    }
    return run.catalog().listed({query.frames, static_cast<std::size_t>(query.num_frames)});
}

}  // namespace

Range checkedRange(const kvr_range& range, const char* what) {
    if (std::isnan(range.low) || std::isnan(range.high)) {
        LUMO_THROW(std::invalid_argument(std::string("The range of ") + what +
                                         " has a bound that is not a number."));
    }
    if (range.low > range.high) {
        LUMO_THROW(std::invalid_argument(std::string("The range of ") + what + " ends before it begins."));
    }
    return {range.low, range.high};
}

Query prepareQuery(Run& run, const kvr_query* query) {
    const kvr_query given = sized(query, "kvr_query");
    Query prepared;
    prepared.mz = optionalRange(given.mz, "m/z");
    prepared.oneOverK0 = optionalRange(given.one_over_k0, "1/K0");
    const std::optional<Range> time = optionalRange(given.time, "time");
    prepared.scanBegin = given.scan_begin;
    // An end of 0 would ask for nothing, so it stands for all scans: a query of zeros asks for everything.
    prepared.scanEnd = given.scan_end == 0 ? UINT32_MAX : given.scan_end;
    if (prepared.scanBegin > prepared.scanEnd) {
        LUMO_THROW(std::invalid_argument("The range of scans ends before it begins."));
    }
    if (given.ms_level > 2) {
        LUMO_THROW(std::invalid_argument("There is no MS level " + std::to_string(given.ms_level) + "."));
    }
    prepared.wanted = {.masses = prepared.mz.has_value(), .mobilities = prepared.oneOverK0.has_value()};
    prepared.intensities = checkedIntensities(given.intensities, run.options().intensities);
    prepared.frames = listedOrAll(run, given);
    // A frame whose level or time the metadata do not state is in no selection by it: the level is 0 here,
    // and the time no number, which no range contains.
    std::erase_if(prepared.frames, [&](const FrameEntry& frame) {
        return (given.ms_level != 0 && frame.msLevel != static_cast<std::int8_t>(given.ms_level)) ||
               (time && !time->contains(frame.time));
    });
    return prepared;
}

}  // namespace lumo::run
