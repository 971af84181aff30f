#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace kova_tool_common {

// A progress bar on standard error with rate and time left; silent when standard error is not a terminal, or
// when nobody wants it.
class Progress {
public:
    // `unit` names what is counted, in the plural.
    Progress(std::uint64_t expectedTotal, std::string unit, bool isWanted = true);
    ~Progress() { finish(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void advance(std::uint64_t steps = 1) { update(done + steps, total); }
    // So many of so many are done.
    void update(std::uint64_t nowDone, std::uint64_t nowTotal);

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
    std::optional<Clock::time_point> drawn;
};

// Clears the line of the bar, if one is drawn, for a message that is to stand there. The bar comes back with
// its next step.
void makeRoomForMessage();

}  // namespace kova_tool_common
