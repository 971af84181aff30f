#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

#include "diag/throw.h"

namespace lumo::run {

// A structure of the caller as this version of the library knows it: members that the caller's version lacks
// are 0, and so is everything when there is none.
template <class Structure>
Structure sized(const Structure* given, const char* name) {
    Structure known = {};
    if (given != nullptr) {
        if (given->size < 2 * sizeof(std::uint32_t)) {
            LUMO_THROW(std::invalid_argument(std::string("The size of ") + name + " is not set."));
        }
        std::memcpy(&known, given, std::min<std::size_t>(given->size, sizeof(Structure)));
    }
    known.size = sizeof(Structure);
    return known;
}

// Gives a structure back, as far as the caller's version knows it.
template <class Structure>
void giveBack(Structure known, Structure* out, const char* name) {
    if (out == nullptr || out->size < 2 * sizeof(std::uint32_t)) {
        LUMO_THROW(std::invalid_argument(std::string("The size of ") + name + " is not set."));
    }
    known.size = out->size;
    std::memcpy(out, &known, std::min<std::size_t>(out->size, sizeof(Structure)));
}

}  // namespace lumo::run
