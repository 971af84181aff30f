#include "kova/verbs/check_report.h"

#include "kova/output/report.h"

// The result of a check as text or JSON. JSON has the numbers of both formats, null for those of the other
// one, so that scripts need not ask which they have.
namespace kova_tool {
namespace {

using Json = nlohmann::ordered_json;

// One number of the report, under its names in JSON and in text.
struct CheckedNumber {
    RunKind kind;
    const char* key;
    const char* name;
    std::uint64_t CheckTally::*value;
};

constexpr CheckedNumber kNumbers[] = {
    {RunKind::Mobility, "scans", "Scans", &CheckTally::scans},
    {RunKind::Mobility, "peaks", "Peaks", &CheckTally::peaks},
    {RunKind::Mobility, "intensity_sum", "Intensity sum", &CheckTally::intensitySum},
    {RunKind::Mobility, "crc32_raw", "CRC-32", &CheckTally::crcRaw},
    {RunKind::Spectra, "lines", "Lines", &CheckTally::lines},
    {RunKind::Spectra, "profile_points", "Profile points", &CheckTally::profilePoints},
    {RunKind::Spectra, "profile_sum", "Profile sum", &CheckTally::profileSum},
    {RunKind::Spectra, "crc32_lines", "CRC-32 of lines", &CheckTally::crcLines},
    {RunKind::Spectra, "crc32_profiles", "CRC-32 of profiles", &CheckTally::crcProfiles}};

Json toJson(const std::string& directory, RunKind kind, const CheckTally& tally) {
    Json badFrames = Json::array();
    for (const BadFrame& frame : tally.badFrames) {
        badFrames.push_back({{"id", frame.id}, {"error", frame.text}});
        if (frame.scans != 0) {
            badFrames.back()["scans"] = frame.scans;
            badFrames.back()["good_scans"] = frame.goodScans;
        }
    }
    Json json = {{"analysis", directory},
                 {"format", formatName(kind)},
                 {"ok", badFrames.empty()},
                 {"frames", tally.frames},
                 {"bad_frames", badFrames}};
    for (const CheckedNumber& number : kNumbers) {
        json[number.key] = number.kind == kind ? Json(tally.*number.value) : Json();
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

void printText(RunKind kind, const CheckTally& tally, OutputBuffer& out) {
    const FrameNouns nouns = nounsOf(kind);
    for (const std::string& line : describe(tally.badFrames, nouns.one, nouns.many)) {
        out << line << '\n';
    }
    const std::string bad =
        tally.badFrames.empty() ? "" : ", " + std::to_string(tally.badFrames.size()) + " bad";
    writeEntry(out, capitalised(nouns.many), std::to_string(tally.frames) + bad);
    for (const CheckedNumber& number : kNumbers) {
        if (number.kind == kind) {
            writeEntry(out, number.name, std::to_string(tally.*number.value));
        }
    }
    writeEntry(out, "Read",
               byteText(tally.bytes) + " in " + std::string(NumberText(tally.seconds(), 3).view()) + " s, " +
                   std::string(NumberText(tally.gigabytesPerSecond(), 2).view()) + " GB/s");
    writeEntry(out, "Result", tally.badFrames.empty() ? "all is well" : "damaged");
}

}  // namespace

void writeCheckReport(const CommonOptions& options, RunKind kind, const CheckTally& tally) {
    OutputBuffer out;
    if (options.json) {
        writeJson(out, toJson(options.directory, kind, tally));
    } else {
        printText(kind, tally, out);
    }
    out.flush();
}

}  // namespace kova_tool
