#include "msms_reader.h"

#include <kovadata/kova.h>

#include <algorithm>

#include "failure.h"

namespace kova_tool {
namespace {

// Ends the library's call from within a callback.
class Stop : public std::exception {};

PrecursorRow rowOf(std::span<const PrecursorRow> rows, std::int64_t id) {
    const auto row = std::ranges::lower_bound(rows, id, {}, &PrecursorRow::id);
    if (row != rows.end() && row->id == id) {
        return *row;
    }
    PrecursorRow unknown;
    unknown.id = id;
    return unknown;
}

std::vector<std::int64_t> idsOf(std::span<const PrecursorRow> rows) {
    std::vector<std::int64_t> ids;
    for (const PrecursorRow& row : rows) {
        ids.push_back(row.id);
    }
    return ids;
}

}  // namespace

// One call of the library, with what went wrong in its callbacks.
struct MsmsReader::Call {
    MsmsReader& reader;
    std::span<const PrecursorRow> rows;
    const Visitor& visitor;
    bool stopped = false;
    std::exception_ptr failure = {};

    // An exception ends the call of the library, which keeps nothing of it but the text.
    template <class Receive>
    void guarded(Receive receive) {
        try {
            stopped = !receive();
        } catch (const std::exception&) {
            failure = std::current_exception();
            throw;
        }
        if (stopped) {
            throw Stop();
        }
    }

    static void onLines(std::int64_t id, std::uint32_t count, const double* mz, const float* intensities,
                        void* context) {
        Call& call = *static_cast<Call*>(context);
        call.guarded([&] { return call.reader.receiveLines(call, id, {mz, count}, {intensities, count}); });
    }

    static void onProfile(std::int64_t id, std::uint32_t count, const std::int32_t* bins, void* context) {
        Call& call = *static_cast<Call*>(context);
        call.guarded([&] { return call.reader.receiveProfile(call, id, {bins, count}); });
    }
};

MsmsReader::MsmsReader(const AnalysisHandle& openAnalysis, bool profiles)
    : analysis(openAnalysis), wantsProfiles(profiles) {}

void MsmsReader::read(const PrecursorSelection& selection, std::span<const PrecursorRow> rows,
                      const Visitor& visitor) {
    Call call{*this, rows, visitor};
    const std::vector<std::int64_t> ids = selection.ids.empty() ? idsOf(rows) : selection.ids;
    const bool done = callLibrary(selection, ids, call) != 0;
    if (call.failure) {
        std::rethrow_exception(call.failure);
    }
    if (!done && !call.stopped) {
        throw Failure(analysis.lastError());
    }
}

std::uint32_t MsmsReader::callLibrary(const PrecursorSelection& selection, std::span<const std::int64_t> ids,
                                      Call& call) {
    const auto count = static_cast<std::uint32_t>(ids.size());
    if (selection.frame) {
        return wantsProfiles ? kova_read_zorel_profile_msms_for_frame_v2(analysis.get(), *selection.frame,
                                                                         Call::onProfile, &call)
                             : kova_read_zorel_msms_for_frame_v2(analysis.get(), *selection.frame,
                                                                 Call::onLines, &call);
    }
    return wantsProfiles
               ? kova_read_zorel_profile_msms_v2(analysis.get(), ids.data(), count, Call::onProfile, &call)
               : kova_read_zorel_msms_v2(analysis.get(), ids.data(), count, Call::onLines, &call);
}

bool MsmsReader::receiveLines(Call& call, std::int64_t id, std::span<const double> mz,
                              std::span<const float> intensities) {
    return call.visitor(
        {rowOf(call.rows, id), {mz.begin(), mz.end()}, {intensities.begin(), intensities.end()}});
}

bool MsmsReader::receiveProfile(Call& call, std::int64_t id, std::span<const std::int32_t> bins) {
    MsmsSpectrum spectrum{rowOf(call.rows, id)};
    spectrum.bins = static_cast<std::uint32_t>(bins.size());
    for (std::uint32_t i = 0; i < bins.size(); ++i) {
        if (bins[i] != 0) {
            spectrum.indices.push_back(i);
            spectrum.intensities.push_back(bins[i]);
        }
    }
    spectrum.mz.assign(spectrum.indices.begin(), spectrum.indices.end());
    const auto count = static_cast<std::uint32_t>(spectrum.mz.size());
    if (kova_index_to_mz(analysis.get(), spectrum.precursor.parent.value_or(0), spectrum.mz.data(),
                         spectrum.mz.data(), count) == 0) {
        throw Failure(analysis.lastError());
    }
    return call.visitor(spectrum);
}

}  // namespace kova_tool
