#include "sys/environment.h"

#include <cstdlib>

#include <sys/auxv.h>

// The one place that reads environment variables. A program with more rights than its user sees none.
namespace lumo::sys {

std::optional<std::string> environmentVariable(const char* name) {
    const char* const value = secure_getenv(name);
    return value != nullptr && *value != '\0' ? std::optional<std::string>(value) : std::nullopt;
}

bool runsWithElevatedRights() { return getauxval(AT_SECURE) != 0; }

}  // namespace lumo::sys
