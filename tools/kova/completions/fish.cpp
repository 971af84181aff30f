#include "kova/completions/scripts.h"

// One line of fish for each option of each verb, valid where that verb has been typed.
namespace kova_tool {
namespace {

std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char character : text) {
        result += character == '\'' || character == '\\' ? "\\" : "";
        result += character;
    }
    return result + "'";
}

std::string candidates(const WordPlace& place) {
    switch (place.kind) {
        case WordKind::Choices:
            return " -a " + quoted(joined(place.choices));
        case WordKind::Directories:
            return " -a '(__fish_complete_directories)'";
        default:
            return "";
    }
}

std::string optionLine(const std::string& condition, const OptionWords& option) {
    std::string line = "complete -c kova" + condition;
    for (const std::string& name : option.names) {
        line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    }
    if (option.values > 0) {
        line += option.value.kind == WordKind::Files ? " -r -F" : " -x" + candidates(option.value);
    }
    return line + " -d " + quoted(option.description) + "\n";
}

}  // namespace

std::string fishCompletion(const ProgramWords& words) {
    std::string script =
        "# Completion of kova for fish, as `kova completions fish` prints it.\n\ncomplete -c kova -f\n";
    for (const OptionWords& option : words.program.options) {
        script += optionLine(" -n __fish_use_subcommand", option);
    }
    for (const VerbWords& verb : words.verbs) {
        const std::string condition = " -n '__fish_seen_subcommand_from " + verb.name + "'";
        script += "\ncomplete -c kova -n __fish_use_subcommand -a " + verb.name + " -d " +
                  quoted(verb.description) + "\n";
        for (const OptionWords& option : verb.options) {
            script += optionLine(condition, option);
        }
        for (const WordPlace& place : verb.places) {
            if (place.kind != WordKind::Anything) {
                script += "complete -c kova" + condition + candidates(place) + "\n";
            }
        }
    }
    return script;
}

}  // namespace kova_tool
