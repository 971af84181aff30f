#pragma once

#include <cstddef>

namespace damage {

// Ends the process when it uses the processor for longer than this before the next call: a hang, however busy
// the machine is.
void startWatchdog(unsigned seconds);

// The largest amount of memory, in bytes, that the process has had mapped so far; 0 where it tells nothing
// because a sanitizer maps its own.
std::size_t peakMemory();
std::size_t currentMemory();

}  // namespace damage
