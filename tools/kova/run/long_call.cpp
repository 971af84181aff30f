#include "kova/run/long_call.h"

#include <algorithm>
#include <utility>

#include "common/interruption.h"
#include "kova/output/message.h"

// Callbacks of the library run inside of its C functions, so nothing may be thrown from them: they note what
// happened, and finish() and the stream report it.
namespace kova_tool {
namespace {

constexpr std::size_t kShownRanges = 8;

// Frames with the same text. Their line leaves the id out of it; the text of a single frame stays as it is.
struct Group {
    std::string text;
    std::vector<const BadFrame*> frames;
};

// The text without what differs from frame to frame.
std::string withoutId(const BadFrame& frame) {
    std::string text = frame.text;
    const std::string id = " for FrameId=" + std::to_string(frame.id);
    const std::size_t place = text.find(id);
    return place == std::string::npos ? text : text.erase(place, id.size());
}

std::vector<Group> grouped(const std::vector<BadFrame>& frames) {
    std::vector<Group> groups;
    for (const BadFrame& frame : frames) {
        const std::string text = withoutId(frame);
        auto group = std::ranges::find(groups, text, &Group::text);
        if (group == groups.end()) {
            group = groups.insert(groups.end(), {text, {}});
        }
        group->frames.push_back(&frame);
    }
    return groups;
}

// Such as "2, 4 to 9".
std::string idsOf(const Group& group) {
    std::string text;
    std::size_t ranges = 0;
    for (std::size_t first = 0, last = 0; first < group.frames.size(); first = last + 1) {
        for (last = first;
             last + 1 < group.frames.size() && group.frames[last + 1]->id == group.frames[last]->id + 1;) {
            ++last;
        }
        if (++ranges > kShownRanges) {
            return text + " and " + std::to_string(group.frames.size() - first) + " more";
        }
        text += (text.empty() ? "" : ", ") + std::to_string(group.frames[first]->id);
        if (last > first) {
            text += (last > first + 1 ? " to " : ", ") + std::to_string(group.frames[last]->id);
        }
    }
    return text;
}

std::string scansText(const Group& group) {
    std::uint64_t scans = 0;
    std::uint64_t good = 0;
    for (const BadFrame* frame : group.frames) {
        scans += frame->scans;
        good += frame->goodScans;
    }
    return scans == 0 ? ""
                      : " (" + std::to_string(good) + " of " + std::to_string(scans) + " scans are good)";
}

}  // namespace

std::vector<std::string> describe(const std::vector<BadFrame>& frames, const std::string& noun,
                                  const std::string& plural) {
    std::vector<std::string> lines;
    for (const Group& group : grouped(frames)) {
        const bool isOne = group.frames.size() == 1;
        lines.push_back((isOne ? noun + " " : std::to_string(group.frames.size()) + " " + plural + ", ") +
                        idsOf(group) + ": " + (isOne ? group.frames.front()->text : group.text) +
                        scansText(group));
    }
    return lines;
}

LongCall::LongCall(const WorkSetting& setting, const std::string& unit, std::uint64_t batchSize)
    : progress(1, unit, setting.showsProgress) {
    kova_tool_common::catchInterruptions();
    how.size = sizeof how;
    how.threads = setting.threads;
    how.batch_size = batchSize;
    how.skip_damaged = setting.skipDamaged ? 1 : 0;
    how.progress = onProgress;
    how.damaged = onDamage;
    how.context = this;
}

void LongCall::finish() {
    progress.finish();
    for (const std::string& line : describe(std::exchange(damaged, {}), "frame", "frames")) {
        tell("left out: " + line);
    }
}

std::uint32_t LongCall::onProgress(void* context, std::uint64_t done, std::uint64_t total) noexcept {
    static_cast<LongCall*>(context)->progress.update(done, total);
    return kova_tool_common::isInterrupted() ? 0 : 1;
}

void LongCall::onDamage(void* context, std::int64_t frame, const char* text) noexcept {
    static_cast<LongCall*>(context)->damaged.push_back({frame, text});
}

}  // namespace kova_tool
