#include "common/interruption.h"

#include <csignal>

// The signal handler only notes the signal, which is all that a handler may safely do, and puts the default
// action back for a second Ctrl-C.
namespace kova_tool_common {

namespace {

volatile std::sig_atomic_t caught = 0;

extern "C" void noteSignal(int signal) {
    caught = signal;
    std::signal(signal, SIG_DFL);
}

}  // namespace

void catchInterruptions() {
    for (const int signal : {SIGINT, SIGTERM}) {
        if (std::signal(signal, noteSignal) == SIG_IGN) {
            std::signal(signal, SIG_IGN);  // as the caller of the program wishes
        }
    }
}

bool isInterrupted() { return caught != 0; }

void stopIfInterrupted() {
    if (caught != 0) {
        throw Interrupted(caught);
    }
}

}  // namespace kova_tool_common
