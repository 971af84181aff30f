#pragma once

#include <span>
#include <string_view>

namespace kova_simulate {

struct Protein {
    std::string_view name;
    std::string_view sequence;
};

// Well-known proteins that laboratories use as test mixtures.
std::span<const Protein> proteins();

}  // namespace kova_simulate
