#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace kova_tool_common {

// A progress bar on standard error with rate and time left; silent when standard error is not a terminal.
class Progress {
public:
    // `unit` names what is counted, in the plural.
    Progress(std::uint64_t expectedTotal, std::string unit);
    ~Progress() { finish(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void advance(std::uint64_t steps = 1);

    // Takes the bar away.
    void finish();

private:
    using Clock = std::chrono::steady_clock;

    void draw(Clock::time_point now);

    std::uint64_t total;
    std::uint64_t done = 0;
    std::string unitName;
    bool visible;
    Clock::time_point start = Clock::now();
    Clock::time_point drawn = start;
};

}  // namespace kova_tool_common
