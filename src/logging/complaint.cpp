#include "logging/complaint.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace lumo::logging {

void complain(std::string_view text) noexcept {
    try {
        std::string line = "kovadata: logging: " + std::string(text);
        std::replace_if(
            line.begin(), line.end(),
            [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, '?');
        line += '\n';
        std::fputs(line.c_str(), stderr);
    } catch (...) {
        return;  // no memory to complain with
    }
}

}  // namespace lumo::logging
