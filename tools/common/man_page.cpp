#include "common/man_page.h"

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string_view>
#include <vector>

// Manual pages are made from what the parser knows, so help and manual cannot contradict each other. What the
// parser does not know, paragraphs and examples, is in the footer of the help, whose form parseFooter()
// relies on.
namespace kova_tool_common {
namespace {

// Text in which every character appears in the page as it was typed, and no line is taken for a request to
// the formatter.
std::string escaped(const std::string& text) {
    static const std::map<char, std::string_view> kEscapes = {
        {'-', "\\-"}, {'\\', "\\e"}, {'`', "\\(ga"}, {'\'', "\\(aq"}, {'^', "\\(ha"}, {'~', "\\(ti"}};
    std::string result;
    for (const char character : text) {
        if (character == '.' && (result.empty() || result.back() == '\n')) {
            result += "\\&";
        }
        const auto escape = kEscapes.find(character);
        if (escape == kEscapes.end()) {
            result += character;
        } else {
            result += escape->second;
        }
    }
    return result;
}

std::string bold(const std::string& text) { return "\\fB" + escaped(text) + "\\fR"; }
std::string italic(const std::string& text) { return "\\fI" + escaped(text) + "\\fR"; }

std::string upper(std::string text) {
    for (char& character : text) {
        if (character >= 'a' && character <= 'z') {
            character = static_cast<char>(character - 'a' + 'A');
        }
    }
    return text;
}

// As it is written after a name: a small first letter, no full stop.
std::string phrase(std::string text) {
    if (!text.empty() && text[0] >= 'A' && text[0] <= 'Z') {
        text[0] = static_cast<char>(text[0] - 'A' + 'a');
    }
    if (text.ends_with('.')) {
        text.pop_back();
    }
    return text;
}

// Written with its verb as one word, as the page is called.
std::string pageName(const CLI::App& parser, const ManPageSource& source) {
    return parser.get_parent() == nullptr ? source.program : source.program + "-" + parser.get_name();
}

std::vector<const CLI::App*> verbsOf(const CLI::App& parser) {
    return parser.get_subcommands([](const CLI::App*) { return true; });
}

std::string synopsis(const CLI::App& parser, const ManPageSource& source) {
    std::string line = bold(source.program);
    if (parser.get_parent() != nullptr) {
        line += " " + bold(parser.get_name());
    }
    line += " [" + italic("OPTIONS") + "]";
    for (const CLI::Option* option : parser.get_options()) {
        if (option->get_positional()) {
            const bool isList = option->get_expected_max() >= CLI::detail::expected_max_vector_size;
            const std::string name = italic(option->get_name(true)) + (isList ? "..." : "");
            line += option->get_required() ? " " + name : " [" + name + "]";
        }
    }
    if (!verbsOf(parser).empty()) {
        line += " " + italic("VERB") + " ...";
    }
    return ".SH SYNOPSIS\n" + line + "\n";
}

// Sorted by name: the parser keeps them in the order of their addresses, which differs from run to run.
std::string namesOf(const std::set<CLI::Option*>& options) {
    std::set<std::string> names;
    for (const CLI::Option* option : options) {
        names.insert(bold(option->get_name()));
    }
    return CLI::detail::join(names, ", ");
}

std::string optionTag(const CLI::Option& option) {
    if (option.get_positional()) {
        return italic(option.get_name(true));
    }
    std::string tag;
    for (const std::string& name : CLI::detail::split(option.get_name(false, true), ',')) {
        tag += (tag.empty() ? "" : ", ") + bold(name);
    }
    if (option.get_type_size() > 0 && !option.get_type_name().empty()) {
        tag += " " + italic(option.get_type_name());
    }
    if (option.get_expected_max() >= CLI::detail::expected_max_vector_size) {
        tag += " ...";
    }
    return tag;
}

std::string optionEntry(const CLI::Option& option) {
    std::string entry = ".TP\n" + optionTag(option) + "\n" + escaped(option.get_description()) + ".\n";
    if (option.get_positional() && option.get_type_name().starts_with('{')) {
        entry += "One of " + escaped(option.get_type_name()) + ".\n";
    }
    if (!option.get_default_str().empty()) {
        entry += "The default is " + escaped(option.get_default_str()) + ".\n";
    }
    if (option.get_required()) {
        entry += "Required.\n";
    }
    if (!option.get_needs().empty()) {
        entry += "Only with " + namesOf(option.get_needs()) + ".\n";
    }
    if (!option.get_excludes().empty()) {
        entry += "Not with " + namesOf(option.get_excludes()) + ".\n";
    }
    return entry;
}

std::string optionSection(const CLI::App& parser, const char* title, bool positional) {
    std::string entries;
    for (const CLI::Option* option : parser.get_options()) {
        if (option->get_positional() == positional && !option->get_group().empty()) {
            entries += optionEntry(*option);
        }
    }
    return entries.empty() ? "" : std::string(".SH ") + title + "\n" + entries;
}

std::string verbSection(const CLI::App& parser, const ManPageSource& source) {
    std::string entries;
    for (const CLI::App* verb : verbsOf(parser)) {
        entries += ".TP\n" + bold(verb->get_name()) + "\n" + escaped(verb->get_description()) + "; see " +
                   bold(pageName(*verb, source)) + "(1).\n";
    }
    return entries.empty() ? "" : ".SH VERBS\n" + entries;
}

struct Footer {
    std::string paragraphs;
    std::string sections;
};

// "  0  success" and the like are entries of a list; other lines stay as they are.
std::string sectionBody(const std::string& title, const std::vector<std::string>& lines) {
    std::string body;
    if (title.starts_with("Example")) {
        for (const std::string& line : lines) {
            body += escaped(line.substr(2)) + "\n";
        }
        return ".nf\n" + body + ".fi\n";
    }
    for (const std::string& line : lines) {
        const std::size_t gap = line.find("  ", 2);
        body += ".TP\n" + bold(line.substr(2, gap - 2)) + "\n" +
                escaped(line.substr(line.find_first_not_of(' ', gap))) + ".\n";
    }
    return body;
}

Footer parseFooter(const std::string& text) {
    Footer footer;
    std::istringstream input(text + "\n\n");
    std::vector<std::string> block;
    for (std::string line; std::getline(input, line);) {
        if (!line.empty()) {
            block.push_back(line);
        } else if (!block.empty()) {
            if (block.size() > 1 && block[0].ends_with(':') && block[1].starts_with("  ")) {
                const std::string title = block[0].substr(0, block[0].size() - 1);
                footer.sections +=
                    ".SH " + upper(title) + "\n" + sectionBody(title, {block.begin() + 1, block.end()});
            } else {
                footer.paragraphs += ".PP\n" + escaped(CLI::detail::join(block, "\n")) + "\n";
            }
            block.clear();
        }
    }
    return footer;
}

std::string seeAlso(const CLI::App& parser, const ManPageSource& source) {
    std::string names;
    const auto add = [&](const std::string& name) {
        names += (names.empty() ? ".BR " : ",\n.BR ") + escaped(name) + " (1)";
    };
    if (parser.get_parent() != nullptr) {
        add(source.program);
    }
    for (const CLI::App* verb : verbsOf(parser)) {
        add(pageName(*verb, source));
    }
    return names.empty() ? "" : ".SH SEE ALSO\n" + names + "\n";
}

void writePage(const CLI::App& parser, const ManPageSource& source, const std::filesystem::path& directory) {
    const std::filesystem::path path = directory / (pageName(parser, source) + ".1");
    std::ofstream file(path);
    file << manPage(parser, source) << std::flush;
    if (!file) {
        throw CLI::FileError::Missing(path.string());
    }
}

}  // namespace

std::string manPage(const CLI::App& parser, const ManPageSource& source) {
    const std::string name = pageName(parser, source);
    const Footer footer = parseFooter(parser.get_footer());
    return ".TH " + escaped(upper(name)) + " 1 \"\" \"" + source.program + " " + source.version +
           "\" \"User Commands\"\n.SH NAME\n" + escaped(name) + " \\- " +
           escaped(phrase(parser.get_description())) + "\n" + synopsis(parser, source) + ".SH DESCRIPTION\n" +
           escaped(parser.get_description()) + (parser.get_description().ends_with('.') ? "\n" : ".\n") +
           footer.paragraphs + optionSection(parser, "ARGUMENTS", true) +
           optionSection(parser, "OPTIONS", false) + verbSection(parser, source) + footer.sections +
           seeAlso(parser, source);
}

void addManPages(CLI::App& parser, const ManPageSource& source) {
    const auto write = [&parser, source](const std::string& directory) {
        writePage(parser, source, directory);
        for (const CLI::App* verb : verbsOf(parser)) {
            writePage(*verb, source, directory);
        }
        throw CLI::Success();
    };
    parser.add_option_function<std::string>("--man-pages", write)->group("");
}

}  // namespace kova_tool_common
