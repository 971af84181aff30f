#pragma once

#include <string>
#include <vector>

namespace simulator {

struct Protein {
    std::string name;
    std::string sequence;
};

// A mixture of well-known proteins, as it is used to test instruments.
const std::vector<Protein>& builtInProteins();

}  // namespace simulator
