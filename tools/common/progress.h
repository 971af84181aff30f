#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace kova_tool {

// A progress bar on standard error: share done, rate and time left. Silent when standard error is no
// terminal.
class Progress {
public:
    // `label` names the work and its unit, e.g. "frames".
    Progress(std::uint64_t total, std::string label);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void advance(std::uint64_t steps = 1);

    // Shows the final state and ends the line. Without it the line is cleared, so that an error message
    // stands alone.
    void finish();

private:
    using Clock = std::chrono::steady_clock;

    void show(Clock::time_point now);

    std::uint64_t total;
    std::string label;
    std::uint64_t done = 0;
    bool visible;
    Clock::time_point start;
    Clock::time_point nextShow;
};

// The text of the bar, without line end, at most `columns` characters wide.
std::string progressLine(const std::string& label, std::uint64_t done, std::uint64_t total, double seconds,
                         std::size_t columns);

}  // namespace kova_tool
