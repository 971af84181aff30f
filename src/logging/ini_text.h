#pragma once

#include <string>
#include <utility>
#include <vector>

namespace lumo::logging {

struct IniSection {
    std::string name;
    std::vector<std::pair<std::string, std::string>> entries;
};

// The text of a configuration as sections, without any meaning. The library that parses it stays inside
// ini_text.cpp, since its headers take seconds to compile.
//
// Sections with at least one entry, in their order; an entry outside any section counts as a section without
// entries. Fails with ConfigurationError on lines that are neither section, entry nor comment, and on
// anything that comes twice.
std::vector<IniSection> parseIni(const std::string& text);

}  // namespace lumo::logging
