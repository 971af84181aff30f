#include "kova/run/msms_reader.h"

#include <kovadata/kova.h>

#include <algorithm>

#include "kova/failure.h"

// Spectra of a batch, one after the other. Of a profile only the bins that are not 0 are kept, with their m/z
// by the calibration of the precursor's survey frame, as the library does it for peaks.
namespace kova_tool {
namespace {

PrecursorRow rowOf(std::span<const PrecursorRow> rows, std::int64_t id) {
    const auto row = std::ranges::lower_bound(rows, id, {}, &PrecursorRow::id);
    if (row != rows.end() && row->id == id) {
        return *row;
    }
    PrecursorRow unknown;
    unknown.id = id;
    return unknown;
}

}  // namespace

MsmsReader::MsmsReader(const Run& openRun, kvr_spectrum_kind spectrumKind,
                       const PrecursorSelection& selection, std::span<const PrecursorRow> precursors,
                       const LongCall& call)
    : run(openRun), kind(spectrumKind), rows(precursors), stream([&](ArrowArrayStream* filled) {
          return kvr_msms(run.get(), selection.ids.empty() ? nullptr : selection.ids.data(),
                          selection.ids.size(), selection.frame ? &*selection.frame : nullptr, kind,
                          call.control(), filled);
      }) {}

std::optional<MsmsSpectrum> MsmsReader::next() {
    while (given == batchRows) {
        if (!stream.next()) {
            return std::nullopt;
        }
        given = 0;
        batchRows = stream.rows();
    }
    MsmsSpectrum spectrum{rowOf(rows, stream.column("precursor").values<std::int64_t>()[given])};
    if (kind == KVR_SPECTRUM_PROFILE) {
        spectrum = currentProfile(std::move(spectrum));
    } else {
        const auto mz = stream.column("mz").list<double>(given);
        const auto intensities = stream.column("intensity").list<float>(given);
        spectrum.mz.assign(mz.begin(), mz.end());
        spectrum.intensities.assign(intensities.begin(), intensities.end());
    }
    ++given;
    return spectrum;
}

MsmsSpectrum MsmsReader::currentProfile(MsmsSpectrum spectrum) const {
    const auto bins = stream.column("intensity").list<std::int32_t>(given);
    spectrum.bins = static_cast<std::uint32_t>(bins.size());
    for (std::uint32_t i = 0; i < bins.size(); ++i) {
        if (bins[i] != 0) {
            spectrum.indices.push_back(i);
            spectrum.intensities.push_back(bins[i]);
        }
    }
    spectrum.mz.assign(spectrum.indices.begin(), spectrum.indices.end());
    const auto count = static_cast<std::uint32_t>(spectrum.mz.size());
    if (kova_index_to_mz(run.handle(), spectrum.precursor.parent.value_or(0), spectrum.mz.data(),
                         spectrum.mz.data(), count) == 0) {
        throw Failure(run.lastHandleError());
    }
    return spectrum;
}

}  // namespace kova_tool
