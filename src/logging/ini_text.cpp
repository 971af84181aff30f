#include "logging/ini_text.h"

#include <locale>
#include <sstream>

#include <boost/property_tree/ini_parser.hpp>

#include "diag/throw.h"
#include "logging/configuration_error.h"

// The only file that includes the parser, whose headers take seconds to compile.
namespace lumo::logging {

namespace {

using boost::property_tree::ptree;

// In the classic locale: the host program may have another one.
ptree parse(const std::string& text) {
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    ptree tree;
    try {
        boost::property_tree::read_ini(stream, tree);
    } catch (const boost::property_tree::ini_parser_error& error) {
        LUMO_THROW(ConfigurationError("line " + std::to_string(error.line()) + ": " + error.message()));
    }
    return tree;
}

}  // namespace

std::vector<IniSection> parseIni(const std::string& text) {
    std::vector<IniSection> sections;
    for (const auto& [name, content] : parse(text)) {
        IniSection& section = sections.emplace_back(IniSection{name, {}});
        for (const auto& [key, value] : content) {
            section.entries.emplace_back(key, value.data());
        }
    }
    return sections;
}

}  // namespace lumo::logging
