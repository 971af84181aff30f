#pragma once

#include <cstdint>
#include <string>

namespace kova_tool {

// A function of the library that gives the text of the calling thread's last failure.
using LastErrorFunction = std::uint32_t (*)(char*, std::uint32_t);

std::string lastErrorOf(LastErrorFunction function);

// Of the run interface.
std::string lastRunError();

}  // namespace kova_tool
