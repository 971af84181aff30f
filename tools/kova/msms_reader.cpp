#include "msms_reader.h"

#include <kovadata/kova.h>

#include <algorithm>
#include <iterator>

#include "failure.h"

namespace kova_tool {
namespace {

// The library's call cannot be ended early. So that a reader who goes away is not waited for until the end of the run,
// spectra are asked for in groups; only the frames at their ends are read twice.
constexpr std::size_t kPrecursorsPerCall = 4000;

PrecursorRow rowOf(std::span<const PrecursorRow> rows, std::int64_t id) {
    const auto row = std::ranges::lower_bound(rows, id, {}, &PrecursorRow::id);
    if (row != rows.end() && row->id == id) {
        return *row;
    }
    PrecursorRow unknown;
    unknown.id = id;
    return unknown;
}

// Each once, in ascending order.
std::vector<std::int64_t> idsOf(const PrecursorSelection& selection, std::span<const PrecursorRow> rows) {
    std::vector<std::int64_t> ids = selection.ids;
    if (ids.empty()) {
        std::ranges::transform(rows, std::back_inserter(ids), &PrecursorRow::id);
    }
    std::ranges::sort(ids);
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    return ids;
}

}  // namespace

// One call of the library. No exception may pass through it: what a callback throws waits here for its end, and what
// comes after that, or after the visitor has had enough, is ignored.
struct MsmsReader::Call {
    MsmsReader& reader;
    std::span<const PrecursorRow> rows;
    const Visitor& visitor;
    bool stopped = false;
    std::exception_ptr failure = {};

    template <class Receive>
    void guarded(Receive receive) noexcept {
        if (stopped) {
            return;
        }
        try {
            stopped = !receive();
        } catch (...) {
            failure = std::current_exception();
            stopped = true;
        }
    }

    static void onLines(std::int64_t id, std::uint32_t count, const double* mz, const float* intensities,
                        void* context) noexcept {
        Call& call = *static_cast<Call*>(context);
        call.guarded([&] { return call.reader.receiveLines(call, id, {mz, count}, {intensities, count}); });
    }

    static void onProfile(std::int64_t id, std::uint32_t count, const std::int32_t* bins,
                          void* context) noexcept {
        Call& call = *static_cast<Call*>(context);
        call.guarded([&] { return call.reader.receiveProfile(call, id, {bins, count}); });
    }
};

MsmsReader::MsmsReader(const AnalysisHandle& openAnalysis, MsmsForm wantedForm)
    : analysis(openAnalysis), form(wantedForm) {}

void MsmsReader::read(const PrecursorSelection& selection, std::span<const PrecursorRow> rows,
                      const Visitor& visitor) {
    Call call{*this, rows, visitor};
    if (selection.frame) {
        end(call, readFrame(*selection.frame, call));
        return;
    }
    const std::vector<std::int64_t> ids = idsOf(selection, rows);
    std::span<const std::int64_t> left = ids;
    do {  // at least once, since it is for the library to say why there are none
        const auto group = left.first(std::min(left.size(), kPrecursorsPerCall));
        end(call, readPrecursors(group, call));
        left = left.subspan(group.size());
    } while (!left.empty() && !call.stopped);
}

void MsmsReader::end(const Call& call, std::uint32_t result) const {
    if (call.failure) {
        std::rethrow_exception(call.failure);
    }
    if (result == 0 && !call.stopped) {
        throw Failure(analysis.lastError());
    }
}

std::uint32_t MsmsReader::readPrecursors(std::span<const std::int64_t> ids, Call& call) {
    const auto count = static_cast<std::uint32_t>(ids.size());
    return form == MsmsForm::Profile
               ? kova_read_zorel_profile_msms_v2(analysis.get(), ids.data(), count, Call::onProfile, &call)
               : kova_read_zorel_msms_v2(analysis.get(), ids.data(), count, Call::onLines, &call);
}

std::uint32_t MsmsReader::readFrame(std::int64_t frame, Call& call) {
    return form == MsmsForm::Profile
               ? kova_read_zorel_profile_msms_for_frame_v2(analysis.get(), frame, Call::onProfile, &call)
               : kova_read_zorel_msms_for_frame_v2(analysis.get(), frame, Call::onLines, &call);
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
