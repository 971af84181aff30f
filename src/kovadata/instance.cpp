#include "kovadata/instance.h"

#include "kovadata/interface_family.h"

namespace lumo::io {

Instance::Instance(const std::filesystem::path& directory, bool useRecalibratedState)
    : logger(logging::Logger::getLogger(KovaInterface::loggerName)), reader(directory, useRecalibratedState) {
    LUMO_LOG(logger, Debug, "instantiated.");
}

std::uint32_t Instance::readScans(std::int64_t frameId, std::uint32_t scanBegin, std::uint32_t scanEnd,
                                  std::span<std::byte> buffer, kova::NormalizationType type) {
    return static_cast<std::uint32_t>(scanRangeReader.read(frameId, scanBegin, scanEnd, type, buffer));
}

}  // namespace lumo::io
