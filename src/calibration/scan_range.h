#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

#include "diag/assert.h"
#include "diag/throw.h"

namespace lumo::calibration::kova {

// Loops over single conversions for the mobility models, which are short and run on the calling thread.

// Fills `out` with the conversions of the scan numbers begin ... end - 1.
template <class Conversion>
void convertScanRange(std::vector<double>& out, int begin, int end, const Conversion& convert) {
    if (end < begin) {
        LUMO_THROW(std::invalid_argument("end must be >= begin."));
    }
    out.resize(static_cast<std::size_t>(std::int64_t{end} - begin));
    for (int scan = begin; scan < end; ++scan) {
        out[static_cast<std::size_t>(std::int64_t{scan} - begin)] = convert(static_cast<double>(scan));
    }
}

// Converts an array, value by value in this order, which counts where the arrays overlap. `convert` is a
// copy, so that the compiler may keep its constants in registers.
template <class Conversion>
void convertArray(std::span<const double> in, std::span<double> out, const Conversion convert) {
    LUMO_ASSERT(in.size() == out.size());
    for (std::size_t i = 0; i < in.size(); ++i) {
        out[i] = convert(in[i]);
    }
}

}  // namespace lumo::calibration::kova
