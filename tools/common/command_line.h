#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/usage_error.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

// What the tools use of the library that parses command lines. That library is all inline, and each file that
// includes it takes ten seconds to compile; command_line.cpp alone does.
namespace kova_tool_common {

// What the parser knows of an option, or of an argument without dashes.
struct OptionFacts {
    std::string name;
    std::vector<std::string> names;  // with their dashes; none of an argument
    std::string description;
    std::string type;  // of a value, as the help shows it; empty where none is taken
    std::string defaultText;
    std::vector<std::string> needs;     // names, sorted
    std::vector<std::string> excludes;  // the same
    int values = 0;
    bool repeats = false;
    bool isArgument = false;
    bool isRequired = false;
    bool isHidden = false;
};

// Of a program, or of a verb of it.
struct ParserFacts {
    std::string name;
    std::string description;
    std::string footer;
    std::vector<OptionFacts> options;
    std::vector<ParserFacts> verbs;
};

// An option that is being declared; a handle that is copied freely.
class Option {
public:
    explicit Option(CLI::Option& declared) : option(&declared) {}

    const Option& required() const;
    const Option& hidden() const;
    const Option& showsDefault() const;
    const Option& values(int count) const;
    const Option& type(const std::string& name) const;     // of a value in the help
    const Option& shownAs(const std::string& text) const;  // in the help, in place of type and all else
    const Option& needs(const Option& other) const;
    const Option& excludes(const Option& other) const;
    const Option& excludes(const std::string& name) const;
    // Takes nothing but these words, which the help shows as {a,b,c}.
    const Option& oneOf(const std::vector<std::string>& words) const;
    // From low to high, both included; of std::uint32_t and int.
    template <class Number>
    const Option& within(Number low, Number high) const;
    // Gives what is wrong with a value, or nothing.
    const Option& check(const std::function<std::string(const std::string&)>& fault) const;

private:
    CLI::Option* option;
};

// The options of a program or of a verb; a handle, like Option. Values are converted while the command line is
// parsed, and must live until then.
class Parser {
public:
    explicit Parser(CLI::App& declared) : app(&declared) {}

    // Of texts, paths, whole numbers, and of std::optional and std::vector of some of them.
    template <class Value>
    Option option(const std::string& names, Value& value, const std::string& text) const;
    // An option whose value is handed on.
    Option function(const std::string& name, const std::function<void(const std::string&)>& take,
                    const std::string& text) const;
    Option flag(const std::string& names, bool& isGiven, const std::string& text) const;
    Option find(const std::string& name) const;
    Parser verb(const std::string& name, const std::string& description) const;
    void footer(const std::string& text) const;
    // Called when this verb is the one on the command line.
    void chosen(const std::function<void()>& action) const;
    ParserFacts facts() const;

protected:
    CLI::App* app;
};

// A whole command line. It says itself what is asked of it by --help and --version.
class CommandLine {
public:
    struct Texts {
        std::string name;
        std::string description;
        std::string version;
    };

    explicit CommandLine(const Texts& texts);
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    Parser parser() const { return Parser(*app); }
    // To be called after the verbs were declared: one of them must be given.
    void requireVerb();
    // Throws UsageError. An exit status means that there is nothing more to do.
    std::optional<int> parse(int argc, char** argv);

private:
    std::unique_ptr<CLI::App> app;
};

// Ends the parsing, with success, in what an option calls.
[[noreturn]] void stopParsing();

}  // namespace kova_tool_common
