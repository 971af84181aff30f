#pragma once

#include <cstdint>

namespace lumo::io::kova {

// What is compressed as a unit in the blob file ("KovaCompressionType" in the metadata). Scans and frames
// belong to the format with mobility, spectra to the one without.
enum class CompressionType : std::int32_t { Scans = 1, Frames = 2, Spectra = 3 };

// Raises std::runtime_error "KovaCompressionType %d not supported.".
[[noreturn]] void raiseUnsupportedCompressionType(std::int32_t type);

}  // namespace lumo::io::kova
