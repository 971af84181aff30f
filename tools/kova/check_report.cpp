#include "check_report.h"

#include <zlib.h>

namespace kova_tool {

std::uint32_t crc32Of(std::uint32_t crc, std::span<const std::byte> bytes) {
    // zlib takes a null pointer for the wish to start anew.
    if (bytes.empty()) {
        return crc;
    }
    return static_cast<std::uint32_t>(
        crc32_z(crc, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()));
}

nlohmann::ordered_json badFramesToJson(const CheckTally& tally) {
    auto badFrames = nlohmann::ordered_json::array();
    for (const BadFrame& frame : tally.badFrames) {
        badFrames.push_back({{"id", frame.id}, {"error", frame.text}});
    }
    return badFrames;
}

void writeBadFrames(OutputBuffer& out, std::string_view noun, const CheckTally& tally) {
    for (const BadFrame& frame : tally.badFrames) {
        out << noun << ' ' << NumberText(frame.id) << ": " << frame.text << '\n';
    }
}

std::string frameCountText(const CheckTally& tally) {
    const std::string text = std::to_string(tally.frames());
    return tally.badFrames.empty() ? text : text + ", " + std::to_string(tally.badFrames.size()) + " bad";
}

std::string speedText(const CheckTally& tally) {
    return byteText(tally.bytes) + " in " + std::string(NumberText(tally.seconds(), 3).view()) + " s, " +
           std::string(NumberText(tally.gigabytesPerSecond(), 2).view()) + " GB/s";
}

}  // namespace kova_tool
