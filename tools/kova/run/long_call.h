#pragma once

#include <kovadata/kvr.h>

#include <cstdint>
#include <string>
#include <vector>

#include "common/progress.h"

namespace kova_tool {

// A frame, or spectrum, that cannot be read.
struct BadFrame {
    std::int64_t id = 0;
    std::string text;
    // Where scans are compressed one by one: how many there are, and how many of them can be read.
    std::uint32_t scans = 0;
    std::uint32_t goodScans = 0;
};

// A line per text; frames with equal ones share it. `noun` is what they are called, `plural` several of them.
std::vector<std::string> describe(const std::vector<BadFrame>& frames, const std::string& noun,
                                  const std::string& plural);

// How verbs that read many frames do so.
struct WorkSetting {
    std::uint32_t threads = 0;
    bool skipDamaged = false;
    bool showsProgress = true;
};

// Follows a long call of the library: draws its progress, ends it when the user interrupts, and keeps the
// frames that it leaves out because they are damaged.
class LongCall {
public:
    LongCall(const WorkSetting& setting, const std::string& unit, std::uint64_t batchSize = 0);
    LongCall(const LongCall&) = delete;
    LongCall& operator=(const LongCall&) = delete;

    const kvr_control* control() const { return &how; }
    // Takes the bar away and tells on standard error what was left out.
    void finish();

private:
    static std::uint32_t onProgress(void* context, std::uint64_t done, std::uint64_t total) noexcept;
    static void onDamage(void* context, std::int64_t frame, const char* text) noexcept;

    kova_tool_common::Progress progress;
    std::vector<BadFrame> damaged;
    kvr_control how = {};
};

}  // namespace kova_tool
