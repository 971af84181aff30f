#include "kova-simulate/proteome.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

// Invented proteins have the composition of real ones, so their peptides have the usual masses, charges and
// retention times.
namespace simulator {

namespace {

// Residues in the order of their frequency in vertebrate proteins, and how many of a thousand each makes up.
constexpr std::string_view kResidues = "LSAEGVKPTDRQINFYHCMW";
constexpr std::array<std::uint32_t, kResidues.size()> kPerThousand = {
    100, 82, 72, 70, 66, 62, 58, 62, 54, 48, 56, 46, 44, 36, 37, 27, 26, 22, 21, 11};

char residue(Random& random) {
    std::uint32_t left = random.below(1000);
    std::size_t i = 0;
    while (left >= kPerThousand[i]) {
        left -= kPerThousand[i++];
    }
    return kResidues[i];
}

}  // namespace

std::string inventedProtein(Random& random) {
    const double length = 380.0 * std::exp(0.5 * random.normal());
    std::string sequence(static_cast<std::size_t>(std::clamp(length, 80.0, 3000.0)), 'M');
    std::generate(sequence.begin() + 1, sequence.end(), [&random] { return residue(random); });
    return sequence;
}

}  // namespace simulator
