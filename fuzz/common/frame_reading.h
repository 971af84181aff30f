#pragma once

#include <cstdint>

#include "common/require.h"
#include "kova-data-reader/blob/kvd_frame_reader.h"

namespace fuzz {

// Decodes every scan of the loaded frame and holds the peaks against the plain form of the rules.
void requireScansLikeThePlainForm(const lumo::io::kova::KvdFrameReader& frame, std::uint32_t bins,
                                  double factor);

}  // namespace fuzz
