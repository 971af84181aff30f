#include "logging/settings.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

#include "diag/throwable.h"
#include "logging/ini_text.h"

// Sections of a configuration become settings. Every key and every value that is not known is an error: a
// misspelt key that was ignored would be found only when messages are missing. A failure names the section,
// the key and what would be right.
namespace lumo::logging {

namespace {

constexpr std::string_view kSinkPrefix = "sink.";

[[noreturn]] void raiseBadValue(const std::string& place, const std::string& value,
                                const std::string& expected) {
    LUMO_THROW(ConfigurationError(place + " = " + value + " is not understood, expected " + expected));
}

template <class Value>
using Names = std::initializer_list<std::pair<std::string_view, Value>>;

template <class Value>
Value oneOf(const Names<Value>& names, const std::string& place, const std::string& value,
            const char* expected) {
    for (const auto& [name, meaning] : names) {
        if (value == name) {
            return meaning;
        }
    }
    raiseBadValue(place, value, expected);
}

Level toLevel(const std::string& place, const std::string& value) {
    const std::optional<Level> level = levelFromName(value);
    if (!level) {
        raiseBadValue(place, value, levelNames());
    }
    return *level;
}

SinkType toSinkType(const std::string& place, const std::string& value) {
    return oneOf<SinkType>({{"console", SinkType::Console},
                            {"stdout", SinkType::StandardOutput},
                            {"stderr", SinkType::StandardError},
                            {"rolling-file", SinkType::RollingFile}},
                           place, value, "console, stdout, stderr or rolling-file");
}

bool toFlag(const std::string& place, const std::string& value) {
    return oneOf<bool>({{"yes", true}, {"no", false}}, place, value, "yes or no");
}

Overflow toOverflow(const std::string& place, const std::string& value) {
    return oneOf<Overflow>({{"block", Overflow::Block}, {"drop", Overflow::Drop}}, place, value,
                           "block or drop");
}

struct Limits {
    std::size_t lowest;
    std::size_t highest;
    const char* expected;
};

constexpr Limits kSizeLimits{1024, std::size_t{1} << 40,
                             "a size in bytes, with k, M or G for their multiples, up to 1024G"};
constexpr Limits kFileLimits{1, 1000, "a number from 1 to 1000"};
constexpr Limits kQueueLimits{1, 1'000'000, "a number from 1 to 1000000"};

// Multiples of 1024; 64 stands for an unknown unit.
unsigned shiftOf(std::string_view unit) {
    return unit == "k" ? 10 : unit == "M" ? 20 : unit == "G" ? 30 : unit.empty() ? 0 : 64;
}

// Units are understood where the limits are those of a size.
std::size_t toNumber(const std::string& place, const std::string& value, const Limits& limits) {
    const char* const end = value.data() + value.size();
    std::size_t number = 0;
    const auto [rest, error] = std::from_chars(value.data(), end, number);
    const unsigned shift = shiftOf({rest, static_cast<std::size_t>(end - rest)});
    const bool unitAllowed = shift == 0 || (shift < 64 && limits.highest >= kSizeLimits.highest);
    // The limit is shifted and not the number, which could lose bits by it.
    if (error != std::errc() || !unitAllowed || number > limits.highest >> shift ||
        number << shift < limits.lowest) {
        raiseBadValue(place, value, limits.expected);
    }
    return number << shift;
}

// One entry per key of a [sink.NAME] section, so that unknown keys are found by looking them up.
struct SinkKey {
    std::string_view name;
    void (*set)(SinkSettings&, const std::string& place, const std::string& value);
};

constexpr SinkKey kSinkKeys[] = {
    {"type", [](auto& sink, auto& place, auto& value) { sink.type = toSinkType(place, value); }},
    {"level", [](auto& sink, auto& place, auto& value) { sink.level = toLevel(place, value); }},
    {"file", [](auto& sink, auto&, auto& value) { sink.file = value; }},
    {"max_size",
     [](auto& sink, auto& place, auto& value) { sink.maxSize = toNumber(place, value, kSizeLimits); }},
    {"max_files",
     [](auto& sink, auto& place, auto& value) { sink.maxFiles = toNumber(place, value, kFileLimits); }},
    {"async", [](auto& sink, auto& place, auto& value) { sink.async = toFlag(place, value); }},
    {"queue",
     [](auto& sink, auto& place, auto& value) { sink.queue = toNumber(place, value, kQueueLimits); }},
    {"overflow", [](auto& sink, auto& place, auto& value) { sink.overflow = toOverflow(place, value); }},
};

// Checks that need more than one key come last, when all have been read: they may stand in any order.
SinkSettings sinkOf(const IniSection& section) {
    SinkSettings sink;
    bool hasType = false;
    for (const auto& [key, value] : section.entries) {
        const auto* const known = std::ranges::find(kSinkKeys, key, &SinkKey::name);
        if (known == std::end(kSinkKeys)) {
            LUMO_THROW(ConfigurationError("unknown key [" + section.name + "] " + key));
        }
        hasType = hasType || key == "type";
        known->set(sink, "[" + section.name + "] " + key, value);
    }
    if (!hasType) {
        LUMO_THROW(ConfigurationError("[" + section.name + "] has no type"));
    }
    if ((sink.type == SinkType::RollingFile) == sink.file.empty()) {
        LUMO_THROW(
            ConfigurationError("[" + section.name + "] needs a file if, and only if, it is a rolling-file"));
    }
    return sink;
}

void addLevels(Settings& settings, const IniSection& section) {
    for (const auto& [name, entry] : section.entries) {
        // The root is the prefix that all names have, the empty one.
        settings.levels[name == "root" ? "" : name] = toLevel("[levels] " + name, entry);
    }
}

}  // namespace

Settings parseSettings(const std::string& text) {
    Settings settings;
    settings.levels[""] = Level::Info;
    for (const IniSection& section : parseIni(text)) {
        if (section.name == "levels") {
            addLevels(settings, section);
        } else if (section.name.starts_with(kSinkPrefix) && section.name.size() > kSinkPrefix.size()) {
            settings.sinks.push_back(sinkOf(section));
        } else {
            LUMO_THROW(ConfigurationError("unknown section or key " + section.name));
        }
    }
    // A configuration that only sets levels must not silence the library.
    if (settings.sinks.empty()) {
        settings.sinks.emplace_back();
    }
    return settings;
}

}  // namespace lumo::logging

LUMO_THROWABLE(lumo::logging::ConfigurationError);
