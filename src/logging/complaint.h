#pragma once

#include <string_view>

namespace lumo::logging {

// One line on standard error about logging itself, the only thing that the library ever prints by its own
// choice. Text that may come from a file is printed on one line and without control characters.
void complain(std::string_view text) noexcept;

}  // namespace lumo::logging
