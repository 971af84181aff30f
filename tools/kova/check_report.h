#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "command_options.h"
#include "common/progress.h"
#include "failure.h"
#include "frame_table.h"
#include "report.h"

namespace kova_tool {

struct BadFrame {
    std::int64_t id;
    std::string text;
};

// What a check of either format counts.
struct CheckTally {
    std::uint64_t goodFrames = 0;
    std::uint64_t bytes = 0;
    std::chrono::steady_clock::duration readTime{};
    std::vector<BadFrame> badFrames;

    std::uint64_t frames() const { return goodFrames + badFrames.size(); }
    double seconds() const { return std::chrono::duration<double>(readTime).count(); }
    double gigabytesPerSecond() const {
        return readTime.count() > 0 ? static_cast<double>(bytes) * 1e-9 / seconds() : 0.0;
    }
};

// Runs check(frame) for each frame, notes those for which it fails, and goes on.
template <class Check>
void checkEach(std::span<const FrameRow> frames, const char* unit, CheckTally& tally, Check check) {
    kova_tool_common::Progress progress(frames.size(), unit);
    for (const FrameRow& frame : frames) {
        try {
            check(frame);
            ++tally.goodFrames;
        } catch (const Failure& failure) {
            tally.badFrames.push_back({frame.id, failure.what()});
        }
        progress.advance(1);
    }
}

// Adds these bytes to a CRC-32.
std::uint32_t crc32Of(std::uint32_t crc, std::span<const std::byte> bytes);

// One number of the report, under its names in JSON and in text.
struct CheckedNumber {
    const char* key;
    const char* name;
    std::uint64_t value;
};

// What the frames of a format are called.
struct CheckedNouns {
    const char* one;
    const char* many;
};

// Prints the report and returns the exit status.
int writeReport(const CommonOptions& options, const CheckTally& tally, const CheckedNouns& nouns,
                std::span<const CheckedNumber> numbers);

// Read everything, print the report, and return the exit status.
int checkFrames(const CommonOptions& options);
int checkSpectra(const CommonOptions& options);

}  // namespace kova_tool
