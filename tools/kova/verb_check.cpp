#include <unistd.h>
#include <zlib.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "analysis_handle.h"
#include "command_options.h"
#include "common/progress.h"
#include "failure.h"
#include "frame_table.h"
#include "metadata_database.h"
#include "report.h"
#include "scan_reader.h"
#include "verbs.h"

namespace kova_tool {
namespace {

using Clock = std::chrono::steady_clock;
using Json = nlohmann::ordered_json;

constexpr const char* kNotes =
    "Reads every scan of every frame. Damaged frames are reported, and the totals are those of the others.\n"
    "CRC-32 is taken over what kova_read_scans_internal() returns for the whole scan range of each frame, "
    "in\n"
    "ascending order of frame id: equal sums mean equal peaks, whatever the storage scheme.\n"
    "\n"
    "Exit status: 0 all is well, 1 something is damaged, 2 wrong usage.\n"
    "\n"
    "Examples:\n"
    "  kova check run.d\n"
    "  kova check run.d --json | jq .crc32_raw\n"
    "  for d in *.d; do kova check $d > /dev/null || echo $d; done\n";

struct BadFrame {
    std::int64_t id;
    std::string text;
};

struct CheckResult {
    std::uint64_t goodFrames = 0;
    std::uint64_t scans = 0;
    std::uint64_t peaks = 0;
    std::uint64_t intensitySum = 0;
    std::uint64_t bytes = 0;
    std::uint32_t crc = 0;
    Clock::duration readTime{};
    std::vector<BadFrame> badFrames;

    double seconds() const { return std::chrono::duration<double>(readTime).count(); }
    double gigabytesPerSecond() const {
        return readTime.count() > 0 ? static_cast<double>(bytes) * 1e-9 / seconds() : 0.0;
    }
};

class AnalysisChecker {
public:
    explicit AnalysisChecker(const std::string& directory)
        : analysis(directory),
          reader(analysis),
          frames(readFrameTable(MetadataDatabase(metadataPath(directory)))) {}

    CheckResult run() {
        kova_tool_common::Progress progress(frames.size(), "frames");
        for (const FrameRow& frame : frames) {
            try {
                checkFrame(frame);
            } catch (const Failure& failure) {
                result.badFrames.push_back({frame.id, failure.what()});
            }
            progress.advance(1);
        }
        progress.finish();
        return result;
    }

private:
    void checkFrame(const FrameRow& frame) {
        const Clock::time_point start = Clock::now();
        const std::uint32_t scans = reader.scanCount(frame);
        const ScanData data = reader.read(frame.id, 0, scans, Intensities::measured);
        const Clock::duration elapsed = Clock::now() - start;
        if (frame.scans && reader.hasScan(frame.id, scans)) {
            throw Failure("the data hold more scans than the " + std::to_string(scans) +
                          " that table Frames states");
        }
        result.readTime += elapsed;
        add(data);
    }

    void add(const ScanData& data) {
        const auto bytes = data.bytes();
        ++result.goodFrames;
        result.scans += data.peakCounts().size();
        result.peaks += data.peaks();
        result.intensitySum += data.intensitySum();
        result.bytes += bytes.size();
        result.crc = static_cast<std::uint32_t>(
            crc32_z(result.crc, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()));
    }

    AnalysisHandle analysis;
    ScanReader reader;
    std::vector<FrameRow> frames;
    CheckResult result;
};

Json toJson(const std::string& directory, const CheckResult& result) {
    Json badFrames = Json::array();
    for (const BadFrame& frame : result.badFrames) {
        badFrames.push_back({{"id", frame.id}, {"error", frame.text}});
    }
    return {{"analysis", directory},
            {"ok", result.badFrames.empty()},
            {"frames", result.goodFrames + result.badFrames.size()},
            {"bad_frames", badFrames},
            {"scans", result.scans},
            {"peaks", result.peaks},
            {"intensity_sum", result.intensitySum},
            {"result_bytes", result.bytes},
            {"crc32_raw", result.crc},
            {"seconds", result.seconds()},
            {"gigabytes_per_second", result.gigabytesPerSecond()}};
}

std::string framesText(const CheckResult& result) {
    const std::string text = std::to_string(result.goodFrames + result.badFrames.size());
    return result.badFrames.empty() ? text : text + ", " + std::to_string(result.badFrames.size()) + " bad";
}

std::string speedText(const CheckResult& result) {
    return byteText(result.bytes) + " in " + std::string(NumberText(result.seconds(), 3).view()) + " s, " +
           std::string(NumberText(result.gigabytesPerSecond(), 2).view()) + " GB/s";
}

void printText(const CheckResult& result, OutputBuffer& out) {
    for (const BadFrame& frame : result.badFrames) {
        out << "frame " << NumberText(frame.id) << ": " << frame.text << '\n';
    }
    writeEntry(out, "Frames", framesText(result));
    writeEntry(out, "Scans", std::to_string(result.scans));
    writeEntry(out, "Peaks", std::to_string(result.peaks));
    writeEntry(out, "Intensity sum", std::to_string(result.intensitySum));
    writeEntry(out, "CRC-32", std::to_string(result.crc));
    writeEntry(out, "Read", speedText(result));
    writeEntry(out, "Result", result.badFrames.empty() ? "all is well" : "damaged");
}

int runCheck(const CommonOptions& options) {
    const CheckResult result = AnalysisChecker(options.directory).run();
    OutputBuffer out;
    if (options.json) {
        writeJson(out, toJson(options.directory, result));
    } else {
        printText(result, out);
    }
    out.flush();
    return result.badFrames.empty() ? kExitOk : kExitFailure;
}

}  // namespace

void addCheck(CLI::App& app, Action& action) {
    CLI::App* verb = app.add_subcommand("check", "Reads everything and reports damage");
    verb->footer(kNotes);
    auto options = std::make_shared<CommonOptions>();
    addDirectory(*verb, *options);
    addJson(*verb, *options);
    verb->callback([options, &action] { action = [options] { return runCheck(*options); }; });
}

}  // namespace kova_tool
