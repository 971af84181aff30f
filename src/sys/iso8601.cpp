#include "sys/iso8601.h"

#include <array>
#include <cstdio>

// Time stamps without the C library's functions for time zones, whose lock a forked child could inherit
// locked.
namespace lumo::sys {

std::string iso8601(std::chrono::system_clock::time_point time) {
    // Rounded down rather than towards 0, so that times before 1970 are right as well.
    const auto microseconds = std::chrono::floor<std::chrono::microseconds>(time);
    const auto day = std::chrono::floor<std::chrono::days>(microseconds);
    const std::chrono::year_month_day date{day};
    const std::chrono::hh_mm_ss clock{microseconds - day};
    std::array<char, 64> text{};
    const int size = std::snprintf(
        text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%06dZ", static_cast<int>(date.year()),
        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
        static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
        static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()));
    return {text.data(), static_cast<std::size_t>(size)};
}

}  // namespace lumo::sys
