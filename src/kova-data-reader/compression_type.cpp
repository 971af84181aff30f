#include "kova-data-reader/compression_type.h"

#include <stdexcept>
#include <string>

#include "diag/throw.h"

namespace lumo::io::kova {

void raiseUnsupportedCompressionType(std::int32_t type) {
    LUMO_THROW(std::runtime_error("KovaCompressionType " + std::to_string(type) + " not supported."));
}

}  // namespace lumo::io::kova
