#include "kova/verbs/target_file.h"

#include <cerrno>
#include <cmath>
#include <fstream>
#include <map>
#include <optional>
#include <system_error>

#include "kova/cli/number_input.h"
#include "kova/cli/ranges.h"
#include "kova/failure.h"

// CSV as spreadsheets write it: perhaps a byte order mark, carriage returns and quotes around cells. Columns
// are found by name, in any order. A line that is wrong is named by its number.
namespace kova_tool {
namespace {

std::string trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t\r\"");
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \t\r\"") + 1 - begin);
}

std::vector<std::string> cellsOf(const std::string& line) {
    std::vector<std::string> cells;
    for (std::size_t begin = 0; begin <= line.size();) {
        const std::size_t end = std::min(line.find(',', begin), line.size());
        cells.push_back(trimmed(line.substr(begin, end - begin)));
        begin = end + 1;
    }
    return cells;
}

class TargetFile {
public:
    explicit TargetFile(const std::string& filePath) : path(filePath), file(filePath) {
        std::string line;
        if (!file || !std::getline(file, line)) {
            throw Failure(path + ": " + std::generic_category().message(errno != 0 ? errno : EINVAL));
        }
        constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
        const std::vector<std::string> names =
            cellsOf(line.starts_with(kByteOrderMark) ? line.substr(kByteOrderMark.size()) : line);
        for (std::size_t i = 0; i < names.size(); ++i) {
            columns.emplace(names[i], i);
        }
        if (!(columns.contains("mz_low") && columns.contains("mz_high")) &&
            !(columns.contains("mz") && columns.contains("ppm"))) {
            throw Failure(path + ": the first line names neither mz_low and mz_high nor mz and ppm");
        }
    }

    std::vector<kvr_target> read() {
        std::vector<kvr_target> targets;
        for (std::string line; std::getline(file, line); ++lineNumber) {
            cells = cellsOf(line);
            if (cells.size() > 1 || !cells.front().empty()) {
                targets.push_back(
                    {massRange(), range("mobility_low", "mobility_high"), range("time_low", "time_high")});
            }
        }
        return targets;
    }

private:
    [[noreturn]] void refuse(const std::string& what) const {
        throw Failure(path + ", line " + std::to_string(lineNumber) + ": " + what);
    }

    std::optional<double> number(const std::string& name) const {
        const auto column = columns.find(name);
        if (column == columns.end() || column->second >= cells.size() || cells[column->second].empty()) {
            return std::nullopt;
        }
        const std::optional<double> value = parseNumber(cells[column->second]);
        if (!value || std::isnan(*value)) {
            refuse(name + " is '" + cells[column->second] + "', which is not a number");
        }
        return value;
    }

    kvr_range range(const std::string& low, const std::string& high) const {
        const kvr_range found = {number(low).value_or(wholeRange().low),
                                 number(high).value_or(wholeRange().high)};
        if (found.low > found.high) {
            refuse("the range from " + low + " to " + high + " ends before it begins");
        }
        return found;
    }

    kvr_range massRange() const {
        if (columns.contains("mz_low") && columns.contains("mz_high")) {
            return range("mz_low", "mz_high");
        }
        const std::optional<double> mz = number("mz");
        const std::optional<double> ppm = number("ppm");
        if (!mz || !ppm || *ppm < 0) {
            refuse("mz and ppm must be there, and ppm at least 0");
        }
        return {*mz * (1 - *ppm * 1e-6), *mz * (1 + *ppm * 1e-6)};
    }

    std::string path;
    std::ifstream file;
    std::map<std::string, std::size_t> columns;
    std::vector<std::string> cells;  // of the current line
    std::size_t lineNumber = 2;
};

}  // namespace

std::vector<kvr_target> readTargets(const std::string& path) { return TargetFile(path).read(); }

}  // namespace kova_tool
