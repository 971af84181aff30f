#include "kova/output/report.h"

#include "kova/output/json_object.h"

namespace kova_tool {
namespace {

constexpr std::size_t kNameWidth = 20;

using Json = nlohmann::ordered_json;

void writeMembers(OutputBuffer& out, const Json& value, std::size_t indent);

// Numbers are written as everywhere else: the library's own texts are not always the shortest.
void writeValue(OutputBuffer& out, const Json& value, std::size_t indent) {
    if (value.is_structured() && !value.empty()) {
        writeMembers(out, value, indent);
    } else if (value.is_number_float()) {
        writeJsonNumber(out, value.get<double>());
    } else {
        out << value.dump(-1, ' ', false, Json::error_handler_t::replace);
    }
}

void writeMembers(OutputBuffer& out, const Json& value, std::size_t indent) {
    constexpr std::size_t kStep = 2;
    char separator = value.is_object() ? '{' : '[';
    for (const auto& [key, member] : value.items()) {
        out << separator << '\n';
        out.repeat(' ', indent + kStep);
        if (value.is_object()) {
            out << jsonString(key) << ": ";
        }
        writeValue(out, member, indent + kStep);
        separator = ',';
    }
    out << '\n';
    out.repeat(' ', indent);
    out << (value.is_object() ? '}' : ']');
}

}  // namespace

void writeEntry(OutputBuffer& out, std::string_view name, std::string_view value) {
    out << name;
    out.repeat(' ', name.size() < kNameWidth ? kNameWidth - name.size() : 1);
    out << value << '\n';
}

void writeJson(OutputBuffer& out, const nlohmann::ordered_json& document) {
    writeValue(out, document, 0);
    out << '\n';
}

std::string byteText(std::uint64_t bytes) {
    static constexpr const char* kUnits[] = {"bytes", "KiB", "MiB", "GiB", "TiB"};
    double value = static_cast<double>(bytes);
    std::size_t unit = 0;
    for (; value >= 1024 && unit + 1 < std::size(kUnits); ++unit) {
        value /= 1024;
    }
    return std::string(NumberText(value, unit == 0 ? 0 : 1).view()) + " " + kUnits[unit];
}

}  // namespace kova_tool
