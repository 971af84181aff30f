#pragma once

#include <stdexcept>

namespace lumo::logging {

// Something in a configuration file is wrong; what() names it.
class ConfigurationError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace lumo::logging
