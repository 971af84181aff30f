#pragma once

#include <cmath>
#include <concepts>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "kova/output/cell.h"
#include "kova/output/output_buffer.h"

namespace kova_tool {

// Writes a number as JSON, which knows no infinities.
template <class Number>
void writeJsonNumber(OutputBuffer& out, Number value) {
    if constexpr (std::floating_point<Number>) {
        if (!std::isfinite(value)) {
            out << "null";
            return;
        }
    }
    out << NumberText(value);
}

// The text in quotes, with replacement characters for what is no valid UTF-8.
std::string jsonString(std::string_view text);

// Writes an object member by member, without building it first.
class JsonObject {
public:
    // The output must outlive the object.
    explicit JsonObject(OutputBuffer& output) : out(output) { out << '{'; }

    // A number or a text; null for an empty cell.
    void member(std::string_view name, const Cell& value);
    // Not for what merely converts to bool, such as a pointer.
    void member(std::string_view name, std::same_as<bool> auto value) {
        beginMember(name);
        out << (value ? "true" : "false");
    }

    template <class Values>
    void array(std::string_view name, const Values& values) {
        beginMember(name);
        char separator = '[';
        for (const auto value : values) {
            out << separator;
            writeJsonNumber(out, value);
            separator = ',';
        }
        out << (separator == '[' ? "[]" : "]");
    }
    template <class Values>
    void array(std::string_view name, const std::optional<Values>& values) {
        if (values) {
            array(name, *values);
        } else {
            member(name, Cell());
        }
    }

    // Whatever is written next is the value of this member.
    void beginMember(std::string_view name);

    // The next member begins on a line of its own.
    void breakLine() { nextSeparator = hasMembers ? ",\n " : "\n "; }

    void end() { out << '}'; }

private:
    OutputBuffer& out;
    std::string_view nextSeparator;
    bool hasMembers = false;
};

}  // namespace kova_tool
