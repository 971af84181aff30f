#include "common/command_line.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <set>

#include <CLI/CLI.hpp>

#include "common/words.h"

namespace kova_tool_common {
namespace {

// Sorted by name: the parser keeps them in the order of their addresses, which differs from run to run.
std::vector<std::string> namesOf(const std::set<CLI::Option*>& options) {
    std::vector<std::string> names;
    for (const CLI::Option* one : options) {
        names.push_back(one->get_name());
    }
    std::ranges::sort(names);
    return names;
}

std::vector<std::string> namesOf(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

OptionFacts factsOf(const CLI::Option& option) {
    OptionFacts facts;
    facts.isArgument = option.get_positional();
    facts.name = option.get_name(facts.isArgument);
    facts.names = namesOf(option);
    facts.description = option.get_description();
    facts.defaultText = option.get_default_str();
    facts.needs = namesOf(option.get_needs());
    facts.excludes = namesOf(option.get_excludes());
    facts.repeats = option.get_expected_max() >= CLI::detail::expected_max_vector_size;
    if (option.get_type_size() > 0) {
        facts.type = option.get_type_name();
        facts.values = facts.repeats ? 1 : option.get_expected_max();
    }
    facts.isRequired = option.get_required();
    facts.isHidden = option.get_group().empty();
    return facts;
}

ParserFacts factsOf(const CLI::App& app) {
    ParserFacts facts = {app.get_name(), app.get_description(), app.get_footer(), {}, {}};
    for (const CLI::Option* declared : app.get_options()) {
        facts.options.push_back(factsOf(*declared));
    }
    for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; })) {
        facts.verbs.push_back(factsOf(*verb));
    }
    return facts;
}

}  // namespace

const Option& Option::required() const {
    option->required();
    return *this;
}

const Option& Option::hidden() const {
    option->group("");
    return *this;
}

const Option& Option::showsDefault() const {
    option->capture_default_str();
    return *this;
}

const Option& Option::values(int count) const {
    option->expected(count);
    return *this;
}

const Option& Option::type(const std::string& name) const {
    option->type_name(name);
    return *this;
}

const Option& Option::shownAs(const std::string& text) const {
    option->option_text(text);
    return *this;
}

const Option& Option::needs(const Option& other) const {
    option->needs(other.option);
    return *this;
}

const Option& Option::excludes(const Option& other) const {
    option->excludes(other.option);
    return *this;
}

const Option& Option::excludes(const std::string& name) const {
    option->excludes(name);
    return *this;
}

const Option& Option::oneOf(const std::vector<std::string>& words) const {
    option->check(CLI::IsMember(words).description(""));
    return type("{" + joined(words, ",") + "}");
}

template <class Number>
const Option& Option::within(Number low, Number high) const {
    option->check(CLI::Range(low, high));
    return *this;
}

const Option& Option::check(const std::function<std::string(const std::string&)>& fault) const {
    option->check(fault);
    return *this;
}

template const Option& Option::within(int, int) const;
template const Option& Option::within(std::uint32_t, std::uint32_t) const;

template <class Value>
Option Parser::option(const std::string& names, Value& value, const std::string& text) const {
    return Option(*app->add_option(names, value, text));
}

template Option Parser::option(const std::string&, int&, const std::string&) const;
template Option Parser::option(const std::string&, std::uint32_t&, const std::string&) const;
template Option Parser::option(const std::string&, std::int64_t&, const std::string&) const;
template Option Parser::option(const std::string&, std::uint64_t&, const std::string&) const;
template Option Parser::option(const std::string&, std::optional<std::int32_t>&, const std::string&) const;
template Option Parser::option(const std::string&, std::optional<std::int64_t>&, const std::string&) const;
template Option Parser::option(const std::string&, std::optional<std::uint64_t>&, const std::string&) const;
template Option Parser::option(const std::string&, std::vector<std::int64_t>&, const std::string&) const;
template Option Parser::option(const std::string&, std::string&, const std::string&) const;
template Option Parser::option(const std::string&, std::optional<std::string>&, const std::string&) const;
template Option Parser::option(const std::string&, std::vector<std::string>&, const std::string&) const;
template Option Parser::option(const std::string&, std::filesystem::path&, const std::string&) const;

Option Parser::function(const std::string& name, const std::function<void(const std::string&)>& take,
                        const std::string& text) const {
    return Option(*app->add_option_function<std::string>(name, take, text));
}

Option Parser::flag(const std::string& names, bool& isGiven, const std::string& text) const {
    return Option(*app->add_flag(names, isGiven, text));
}

Option Parser::find(const std::string& name) const { return Option(*app->get_option(name)); }

Parser Parser::verb(const std::string& name, const std::string& description) const {
    CLI::App* const added = app->add_subcommand(name, description);
    added->group("Verbs");
    return Parser(*added);
}

void Parser::footer(const std::string& text) const { app->footer(text); }

void Parser::chosen(const std::function<void()>& action) const { app->callback(action); }

ParserFacts Parser::facts() const { return factsOf(*app); }

CommandLine::CommandLine(const Texts& texts)
    : app(std::make_unique<CLI::App>(texts.description, texts.name)) {
    app->set_version_flag("--version", texts.name + " " + texts.version, "print the version and exit");
    app->set_help_flag("-h,--help", "print this help and exit");
    app->get_formatter()->label("SUBCOMMAND", "VERB");
    app->get_formatter()->label("REQUIRED", "(required)");
    app->get_formatter()->label("Excludes", "not with");
    app->get_formatter()->label("Needs", "only with");
}

CommandLine::~CommandLine() = default;

void CommandLine::requireVerb() { app->require_subcommand(1); }

std::optional<int> CommandLine::parse(int argc, char** argv) {
    try {
        app->parse(argc, argv);
        return std::nullopt;
    } catch (const CLI::Success& request) {
        return app->exit(request);  // prints what was asked for
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what());
    }
}

void stopParsing() { throw CLI::Success(); }

}  // namespace kova_tool_common
