#pragma once

#include "logging/backend.h"
#include "logging/settings.h"

namespace lumo::logging {

// Opens what the settings name. Fails with std::exception when a file cannot be written.
Configuration makeConfiguration(const Settings& settings);

}  // namespace lumo::logging
