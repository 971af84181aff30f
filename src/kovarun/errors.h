#pragma once

#include <stdexcept>

namespace lumo::run {

// The caller's progress callback asked to stop.
class Cancelled : public std::runtime_error {
public:
    Cancelled() : std::runtime_error("Cancelled by the caller.") {}
};

}  // namespace lumo::run
