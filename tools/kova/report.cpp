#include "report.h"

namespace kova_tool {
namespace {

constexpr std::size_t kNameWidth = 20;

}  // namespace

void writeEntry(OutputBuffer& out, std::string_view name, std::string_view value) {
    out << name;
    out.repeat(' ', name.size() < kNameWidth ? kNameWidth - name.size() : 1);
    out << value << '\n';
}

void writeJson(OutputBuffer& out, const nlohmann::ordered_json& document) {
    out << document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << '\n';
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
