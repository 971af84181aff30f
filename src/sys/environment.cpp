#include "sys/environment.h"

#include <cstdlib>

#include <sys/auxv.h>

// A program with more rights than its user sees no variable at all: the user sets them.
namespace lumo::sys {

std::optional<std::string> environmentVariable(const char* name) {
    const char* const value = secure_getenv(name);
    return value != nullptr && *value != '\0' ? std::optional<std::string>(value) : std::nullopt;
}

bool runsWithElevatedRights() { return getauxval(AT_SECURE) != 0; }

}  // namespace lumo::sys
