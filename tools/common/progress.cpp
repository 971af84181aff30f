#include "common/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace kova_tool {

namespace {

constexpr std::chrono::milliseconds kInterval{100};
constexpr std::size_t kBarColumns = 30;
constexpr const char* kClearLine = "\r\033[K";

std::size_t terminalColumns() {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return 80;
    }
    return size.ws_col;
}

std::string clockText(double seconds) {
    const auto whole = static_cast<unsigned long long>(std::clamp(seconds, 0.0, 359999.0));
    std::array<char, 32> text{};
    if (whole >= 3600) {
        std::snprintf(text.data(), text.size(), "%llu:%02llu:%02llu", whole / 3600, whole / 60 % 60,
                      whole % 60);
    } else {
        std::snprintf(text.data(), text.size(), "%llu:%02llu", whole / 60, whole % 60);
    }
    return text.data();
}

std::string bar(double share) {
    const auto filled = static_cast<std::size_t>(share * static_cast<double>(kBarColumns));
    return "[" + std::string(filled, '#') + std::string(kBarColumns - filled, '.') + "]";
}

}  // namespace

std::string progressLine(const std::string& label, std::uint64_t done, std::uint64_t total, double seconds,
                         std::size_t columns) {
    const double steps = static_cast<double>(done);
    const double share = total == 0 ? 1.0 : std::min(1.0, steps / static_cast<double>(total));
    const double rate = seconds > 0.0 ? steps / seconds : 0.0;
    std::array<char, 96> figures{};
    std::snprintf(figures.data(), figures.size(), " %3.0f %%  %llu/%llu  %.3g/s", 100.0 * share,
                  static_cast<unsigned long long>(done), static_cast<unsigned long long>(total), rate);
    std::string line = label + " " + bar(share) + figures.data();
    if (done >= total) {
        line += "  in " + clockText(seconds);
    } else if (rate > 0.0) {
        line += "  " + clockText((static_cast<double>(total) - steps) / rate) + " left";
    }
    return line.substr(0, columns);
}

Progress::Progress(std::uint64_t totalSteps, std::string labelText)
    : total(totalSteps),
      label(std::move(labelText)),
      visible(isatty(STDERR_FILENO) == 1),
      start(Clock::now()),
      nextShow(start) {}

Progress::~Progress() {
    if (visible) {
        std::fputs(kClearLine, stderr);
    }
}

void Progress::advance(std::uint64_t steps) {
    done += steps;
    if (!visible) {
        return;
    }
    const Clock::time_point now = Clock::now();
    if (now >= nextShow) {
        show(now);
        nextShow = now + kInterval;
    }
}

void Progress::finish() {
    if (!visible) {
        return;
    }
    show(Clock::now());
    std::fputc('\n', stderr);
    visible = false;
}

void Progress::show(Clock::time_point now) {
    const std::chrono::duration<double> elapsed = now - start;
    // One column stays free: a full line would wrap on some terminals.
    const std::string line = progressLine(label, done, total, elapsed.count(), terminalColumns() - 1);
    std::fprintf(stderr, "%s%s", kClearLine, line.c_str());
    std::fflush(stderr);
}

}  // namespace kova_tool
