#include "common/progress.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <unistd.h>

#include "common/terminal.h"

// The bar is drawn at most ten times a second, however often it is updated, and overwrites itself in its
// line.
namespace kova_tool_common {

namespace {

constexpr auto kRedrawInterval = std::chrono::milliseconds(100);
constexpr std::size_t kBarWidth = 30;

// There is one terminal, whoever draws on it.
bool isDrawn = false;

std::string duration(double seconds) {
    const long whole = std::lround(seconds);
    char text[32];
    std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60, whole % 60);
    return text;
}

}  // namespace

Progress::Progress(std::uint64_t expectedTotal, std::string unit, bool isWanted)
    : total(std::max<std::uint64_t>(expectedTotal, 1)),
      unitName(std::move(unit)),
      visible(isWanted && isatty(STDERR_FILENO) == 1) {}

void Progress::update(std::uint64_t nowDone, std::uint64_t nowTotal) {
    done = nowDone;
    total = std::max<std::uint64_t>(nowTotal, 1);
    const Clock::time_point now = Clock::now();
    if (visible && (!drawn || now - *drawn >= kRedrawInterval)) {
        drawn = now;
        draw(now);
    }
}

void Progress::draw(Clock::time_point now) {
    const double elapsed = std::chrono::duration<double>(now - start).count();
    const double rate = elapsed > 0.0 ? static_cast<double>(done) / elapsed : 0.0;
    const double fraction = std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
    std::string bar(static_cast<std::size_t>(fraction * kBarWidth), '#');
    bar.resize(kBarWidth, '.');
    const std::string left =
        rate > 0.0 ? duration(static_cast<double>(total - std::min(done, total)) / rate) : "?";
    char line[256];
    std::snprintf(line, sizeof line, "[%s] %3.0f %%  %llu/%llu %s  %.1f/s  %s left", bar.c_str(),
                  100.0 * fraction, static_cast<unsigned long long>(done),
                  static_cast<unsigned long long>(total), unitName.c_str(), rate, left.c_str());
    // A line that wraps could not be taken away; the last place of some terminals wraps too.
    const std::size_t width = terminalWidth(STDERR_FILENO).value_or(sizeof line);
    std::fprintf(stderr, "\r%.*s\033[K", static_cast<int>(std::max<std::size_t>(width, 2) - 1), line);
    std::fflush(stderr);
    isDrawn = true;
}

void Progress::finish() {
    if (visible) {
        makeRoomForMessage();
        visible = false;
    }
}

void makeRoomForMessage() {
    if (isDrawn) {
        std::fputs("\r\033[K", stderr);
        isDrawn = false;
    }
}

}  // namespace kova_tool_common
