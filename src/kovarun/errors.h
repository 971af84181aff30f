#pragma once

#include <stdexcept>

namespace lumo::run {

// The caller's progress callback asked to stop. A type of its own because a stream reports it with an error
// code of its own (ECANCELED), and because no frame is to blame: it must pass everything that skips damaged
// frames, which catches std::runtime_error. So it is raised only where no such handler is around, on the
// caller's thread.
class Cancelled : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace lumo::run
