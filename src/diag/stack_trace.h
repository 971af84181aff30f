#pragma once

#include <string>
#include <vector>

namespace lumo::diag {

// Return addresses of a thread at one moment. Capturing only records addresses; names are looked up when the
// trace is rendered, because most traces never are: every error carries one, and it is shown only in a log at
// debug level.
//
// A module must still be loaded when the trace is rendered, or its frames are shown by address alone.
class StackTrace {
public:
    static constexpr int kMaxFrames = 1024;

    // Records the calling thread's stack, leaving out this function and `skippedFrames` more.
    static StackTrace capture(int skippedFrames = 0);

    // One line per frame, innermost first: number, address, function (demangled where a symbol exists),
    // module.
    std::string toString() const;

    bool empty() const { return addresses.empty(); }

private:
    std::vector<void*> addresses;
};

}  // namespace lumo::diag
