#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

#include "diag/throw.h"

// The structures of kvr.h begin with their size in bytes, as the caller's compiler saw it. So a program that
// was built against an older header passes a shorter structure than this library knows, and one built against
// a newer header a longer one; both work, and nobody reads or writes beyond what the other has.
namespace lumo::run {

// The caller's structure as this version of the library knows it. Members that the caller's version lacks are
// 0, and all are if the pointer is null. The first two members, of 32 bits each, have always been there, so a
// smaller size is one that nobody set.
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

// The other direction: copies out as much as the caller's version knows, and leaves its `size` as it was.
template <class Structure>
void giveBack(Structure known, Structure* out, const char* name) {
    if (out == nullptr || out->size < 2 * sizeof(std::uint32_t)) {
        LUMO_THROW(std::invalid_argument(std::string("The size of ") + name + " is not set."));
    }
    known.size = out->size;
    std::memcpy(out, &known, std::min<std::size_t>(out->size, sizeof(Structure)));
}

}  // namespace lumo::run
