#pragma once

namespace lumo::io::kova {

// The two formats of an analysis: frames of scans along a mobility ramp ("analysis.kvd"), or one spectrum per
// frame ("analysis.kvs"). Only frames with mobility need, and have, mobility calibrations.
enum class AnalysisFormat { Mobility, Spectra };

}  // namespace lumo::io::kova
