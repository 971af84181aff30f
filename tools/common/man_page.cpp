#include "common/man_page.h"

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string_view>
#include <vector>

#include "common/words.h"

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

bool isVerb(const ParserFacts& parser, const ManPageSource& source) { return parser.name != source.program; }

// Written with its verb as one word, as the page is called.
std::string pageName(const ParserFacts& parser, const ManPageSource& source) {
    return isVerb(parser, source) ? source.program + "-" + parser.name : source.program;
}

std::string synopsis(const ParserFacts& parser, const ManPageSource& source) {
    std::string line = bold(source.program);
    if (isVerb(parser, source)) {
        line += " " + bold(parser.name);
    }
    line += " [" + italic("OPTIONS") + "]";
    for (const OptionFacts& option : parser.options) {
        if (option.isArgument) {
            line += option.isRequired ? " " : " [";
            line += italic(option.name) + (option.repeats ? "..." : "") + (option.isRequired ? "" : "]");
        }
    }
    if (!parser.verbs.empty()) {
        line += " " + italic("VERB") + " ...";
    }
    return ".SH SYNOPSIS\n" + line + "\n";
}

std::string bold(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += text.empty() ? "" : ", ";
        text += bold(name);
    }
    return text;
}

std::string optionTag(const OptionFacts& option) {
    if (option.isArgument) {
        return italic(option.name);
    }
    std::string tag = bold(option.names);
    if (!option.type.empty()) {
        tag += " " + italic(option.type);
    }
    if (option.repeats) {
        tag += " ...";
    }
    return tag;
}

std::string optionEntry(const OptionFacts& option) {
    std::string entry = ".TP\n" + optionTag(option) + "\n" + escaped(option.description) + ".\n";
    if (option.isArgument && option.type.starts_with('{')) {
        entry += "One of " + escaped(option.type) + ".\n";
    }
    if (!option.defaultText.empty()) {
        entry += "The default is " + escaped(option.defaultText) + ".\n";
    }
    if (option.isRequired) {
        entry += "Required.\n";
    }
    if (!option.needs.empty()) {
        entry += "Only with " + bold(option.needs) + ".\n";
    }
    if (!option.excludes.empty()) {
        entry += "Not with " + bold(option.excludes) + ".\n";
    }
    return entry;
}

enum class Listed { Arguments, Options };

std::string optionSection(const ParserFacts& parser, const char* title, Listed listed) {
    std::string entries;
    for (const OptionFacts& option : parser.options) {
        if (option.isArgument == (listed == Listed::Arguments) && !option.isHidden) {
            entries += optionEntry(option);
        }
    }
    return entries.empty() ? "" : std::string(".SH ") + title + "\n" + entries;
}

std::string verbSection(const ParserFacts& parser, const ManPageSource& source) {
    std::string entries;
    for (const ParserFacts& verb : parser.verbs) {
        entries += ".TP\n" + bold(verb.name) + "\n" + escaped(verb.description) + "; see " +
                   bold(pageName(verb, source)) + "(1).\n";
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
                footer.paragraphs += ".PP\n" + escaped(joined(block, "\n")) + "\n";
            }
            block.clear();
        }
    }
    return footer;
}

std::string seeAlso(const ParserFacts& parser, const ManPageSource& source) {
    std::string names;
    const auto add = [&](const std::string& name) {
        names += (names.empty() ? ".BR " : ",\n.BR ") + escaped(name) + " (1)";
    };
    if (isVerb(parser, source)) {
        add(source.program);
    }
    for (const ParserFacts& verb : parser.verbs) {
        add(pageName(verb, source));
    }
    return names.empty() ? "" : ".SH SEE ALSO\n" + names + "\n";
}

std::string manPage(const ParserFacts& parser, const ManPageSource& source) {
    const std::string name = pageName(parser, source);
    const Footer footer = parseFooter(parser.footer);
    return ".TH " + escaped(upper(name)) + " 1 \"\" \"" + source.program + " " + source.version +
           "\" \"User Commands\"\n.SH NAME\n" + escaped(name) + " \\- " +
           escaped(phrase(parser.description)) + "\n" + synopsis(parser, source) + ".SH DESCRIPTION\n" +
           escaped(parser.description) + (parser.description.ends_with('.') ? "\n" : ".\n") +
           footer.paragraphs + optionSection(parser, "ARGUMENTS", Listed::Arguments) +
           optionSection(parser, "OPTIONS", Listed::Options) + verbSection(parser, source) + footer.sections +
           seeAlso(parser, source);
}

void writePage(const ParserFacts& parser, const ManPageSource& source,
               const std::filesystem::path& directory) {
    const std::filesystem::path path = directory / (pageName(parser, source) + ".1");
    std::ofstream file(path);
    file << manPage(parser, source) << std::flush;
    if (!file) {
        throw UsageError(path.string() + " cannot be written");
    }
}

}  // namespace

void addManPages(const Parser& parser, const ManPageSource& source) {
    const auto write = [parser, source](const std::string& directory) {
        const ParserFacts program = parser.facts();
        writePage(program, source, directory);
        for (const ParserFacts& verb : program.verbs) {
            writePage(verb, source, directory);
        }
        stopParsing();
    };
    parser.function("--man-pages", write, "").hidden();
}

}  // namespace kova_tool_common
