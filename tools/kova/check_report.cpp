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

namespace {

using Json = nlohmann::ordered_json;
using Numbers = std::span<const CheckedNumber>;

Json toJson(const std::string& directory, const CheckTally& tally, const CheckedNouns& nouns,
            Numbers numbers) {
    Json badFrames = Json::array();
    for (const BadFrame& frame : tally.badFrames) {
        badFrames.push_back({{"id", frame.id}, {"error", frame.text}});
    }
    Json json = {{"analysis", directory},
                 {"ok", badFrames.empty()},
                 {nouns.many, tally.frames()},
                 {std::string("bad_") + nouns.many, badFrames}};
    for (const CheckedNumber& number : numbers) {
        json[number.key] = number.value;
    }
    json["result_bytes"] = tally.bytes;
    json["seconds"] = tally.seconds();
    json["gigabytes_per_second"] = tally.gigabytesPerSecond();
    return json;
}

std::string capitalised(std::string text) {
    text[0] = static_cast<char>(text[0] - 'a' + 'A');
    return text;
}

void printText(const CheckTally& tally, const CheckedNouns& nouns, Numbers numbers, OutputBuffer& out) {
    for (const BadFrame& frame : tally.badFrames) {
        out << nouns.one << ' ' << NumberText(frame.id) << ": " << frame.text << '\n';
    }
    const std::string bad =
        tally.badFrames.empty() ? "" : ", " + std::to_string(tally.badFrames.size()) + " bad";
    writeEntry(out, capitalised(nouns.many), std::to_string(tally.frames()) + bad);
    for (const CheckedNumber& number : numbers) {
        writeEntry(out, number.name, std::to_string(number.value));
    }
    writeEntry(out, "Read",
               byteText(tally.bytes) + " in " + std::string(NumberText(tally.seconds(), 3).view()) + " s, " +
                   std::string(NumberText(tally.gigabytesPerSecond(), 2).view()) + " GB/s");
    writeEntry(out, "Result", tally.badFrames.empty() ? "all is well" : "damaged");
}

}  // namespace

int writeReport(const CommonOptions& options, const CheckTally& tally, const CheckedNouns& nouns,
                Numbers numbers) {
    OutputBuffer out;
    if (options.json) {
        writeJson(out, toJson(options.directory, tally, nouns, numbers));
    } else {
        printText(tally, nouns, numbers, out);
    }
    out.flush();
    return tally.badFrames.empty() ? kExitOk : kExitFailure;
}

}  // namespace kova_tool
