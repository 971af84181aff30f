#include "kova/output/message.h"

#include <cstdio>

#include "common/progress.h"

namespace kova_tool {

void tell(std::string_view text) {
    kova_tool_common::makeRoomForMessage();
    std::fprintf(stderr, "kova: %.*s\n", static_cast<int>(text.size()), text.data());
}

}  // namespace kova_tool
