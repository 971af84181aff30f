#include "common/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace kova_tool_common {

std::optional<std::size_t> terminalWidth(int descriptor) {
    winsize size = {};
    if (isatty(descriptor) != 1 || ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return std::nullopt;
    }
    return size.ws_col;
}

}  // namespace kova_tool_common
