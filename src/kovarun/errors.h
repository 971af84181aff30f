#pragma once

#include <stdexcept>

namespace lumo::run {

// The caller's progress callback asked to stop.
class Cancelled : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace lumo::run
