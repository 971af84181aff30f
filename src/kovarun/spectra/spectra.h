#pragma once

#include <cstdint>
#include <memory>

#include "kovarun/arrow/stream.h"
#include "kovarun/query/query.h"
#include "kovarun/run/control.h"
#include "zorel-msms-reader/stripe_rows.h"

namespace lumo::run {

// Spectra as streams: a row per spectrum, with its peaks or its profile as lists. Lines are peaks with m/z,
// profiles have one intensity per index from 0.
enum class SpectrumKind { Lines, Profile };

// Raises std::invalid_argument.
SpectrumKind checkedSpectrumKind(std::uint32_t kind);

// Fragment spectra of precursors, in the order of their last frames.
std::unique_ptr<arrow::BatchSource> makeMsmsStream(std::shared_ptr<Run> run,
                                                   const io::algorithms::PrecursorFilter& filter,
                                                   SpectrumKind kind, const Control& control);

// Spectra of an analysis without mobility, in the order of the query. Its time and MS level have chosen
// frames already; it has no box.
std::unique_ptr<arrow::BatchSource> makeSpectrumStream(std::shared_ptr<Run> run, Query query,
                                                       SpectrumKind kind, const Control& control);

}  // namespace lumo::run
