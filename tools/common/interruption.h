#pragma once

#include <stdexcept>

namespace kova_tool_common {

// Raised by stopIfInterrupted(), so that everything on the stack is closed and unfinished output is taken
// away.
class Interrupted : public std::runtime_error {
public:
    explicit Interrupted(int signal) : std::runtime_error("interrupted"), number(signal) {}

    // As shells report it: 130 after Ctrl-C.
    int exitStatus() const { return 128 + number; }

private:
    int number;
};

// From now on Ctrl-C and a request to terminate end the program at its next stopIfInterrupted(); a second one
// ends it immediately.
void catchInterruptions();
void stopIfInterrupted();
// For places that nothing may be thrown through.
bool isInterrupted();

}  // namespace kova_tool_common
