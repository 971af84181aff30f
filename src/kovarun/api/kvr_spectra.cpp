#include <vector>

#include "kovarun/api/kvr_run.h"
#include "kovarun/run/sized.h"
#include "kovarun/spectra/spectra.h"

// Arguments of the streams of spectra. Ranges of m/z, mobility and scans have no meaning for whole spectra;
// they are refused rather than ignored.
namespace {

using namespace lumo::run;

// A null pointer asks for all precursors; a pointer with the number 0 asks for none. Ids are copied, so the
// caller's array need not outlive the call.
lumo::io::algorithms::PrecursorFilter checkedFilter(const int64_t* precursors, uint64_t count,
                                                    const int64_t* parent) {
    const std::span<const std::int64_t> ids = checkedPrecursors(precursors, count);
    lumo::io::algorithms::PrecursorFilter filter;
    if (precursors != nullptr) {
        filter.ids.emplace(ids.begin(), ids.end());
    }
    if (parent != nullptr) {
        filter.parent = *parent;
    }
    return filter;
}

void requireNoBox(const kvr_query* query) {
    const kvr_query given = sized(query, "kvr_query");
    if (given.mz != nullptr || given.one_over_k0 != nullptr || given.scan_begin != 0 || given.scan_end != 0) {
        LUMO_THROW(
            std::invalid_argument("Spectra without mobility are selected by frame, MS level and time only."));
    }
}

}  // namespace

uint32_t kvr_msms(kvr_run* run, const int64_t* precursors, uint64_t num_precursors, const int64_t* parent,
                  uint32_t kind, const kvr_control* control, ArrowArrayStream* stream) {
    return callForStream(stream, [&] {
        const std::shared_ptr<Run>& opened = checked(run).run;
        const SpectrumKind wanted = checkedSpectrumKind(kind);
        return makeMsmsStream(opened, checkedFilter(precursors, num_precursors, parent), wanted,
                              checkedControl(*opened, control));
    });
}

uint32_t kvr_spectra(kvr_run* run, const kvr_query* query, uint32_t kind, const kvr_control* control,
                     ArrowArrayStream* stream) {
    return callForStream(stream, [&] {
        const std::shared_ptr<Run>& opened = checked(run).run;
        const SpectrumKind wanted = checkedSpectrumKind(kind);
        requireNoBox(query);
        opened->borrow()->spectra();  // refuses the other format
        return makeSpectrumStream(opened, prepareQuery(*opened, query), wanted,
                                  checkedControl(*opened, control));
    });
}
