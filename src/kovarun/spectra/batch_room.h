#pragma once

#include <stdexcept>

#include "diag/throw.h"

namespace lumo::run {

// What a list column of a batch can hold is asked before values are appended to it.
inline void requireRoom(bool hasRoom) {
    if (!hasRoom) {
        LUMO_THROW(std::runtime_error("The spectra have more peaks than a batch can hold."));
    }
}

}  // namespace lumo::run
