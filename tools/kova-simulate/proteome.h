#pragma once

#include <string>

#include "kova-simulate/random.h"

namespace simulator {

// A protein that does not exist, of the usual length and composition. Large samples are filled up with them.
std::string inventedProtein(Random& random);

}  // namespace simulator
