#include "kova/completions/scripts.h"

namespace kova_tool {
namespace {

// Within single quotes, and within the brackets and colons of an entry.
std::string quotedEntry(const std::string& text) {
    std::string result;
    for (const char character : text) {
        if (character == '\'') {
            result += "'\\''";
        } else if (character == ':' || character == '[' || character == ']' || character == '\\') {
            (result += '\\') += character;
        } else {
            result += character;
        }
    }
    return result;
}

std::string action(const WordPlace& place) {
    switch (place.kind) {
        case WordKind::Choices:
            return std::string("(") + joined(place.choices) + ")";
        case WordKind::Files:
            return "_files";
        case WordKind::Directories:
            return "_files -/";
        default:
            return " ";
    }
}

std::string valueSpecification(const WordPlace& place) {
    return std::string(":") + quotedEntry(place.kind == WordKind::Choices ? "word" : place.name) + ":" +
           action(place);
}

// A word of a command that goes on from line to line.
std::string continued(const std::string& entry) { return " \\\n        '" + entry + "'"; }

// All names of an option exclude each other.
std::string optionSpecifications(const VerbWords& verb) {
    std::string lines;
    for (const OptionWords& option : verb.options) {
        std::string values;
        for (int i = 0; i < option.values; ++i) {
            values += valueSpecification(option.value);
        }
        for (const std::string& name : option.names) {
            std::string entry = "(";
            entry += joined(option.names) + ")" + name;
            entry += option.values > 0 && name.starts_with("--") ? "=[" : "[";
            entry += quotedEntry(option.description) + "]" + values;
            lines += continued(entry);
        }
    }
    return lines;
}

std::string placeSpecifications(const VerbWords& verb) {
    std::string lines;
    for (const WordPlace& place : verb.places) {
        lines += continued(std::string(place.repeats ? "*" : "") + valueSpecification(place));
    }
    return lines;
}

constexpr const char* kHead = R"(#compdef kova
# Completion of kova for zsh, as `kova completions zsh` prints it.

_kova() {
    local state line
    typeset -A opt_args
    _arguments -C)";

constexpr const char* kVerbs = R"( \
        '1: :->verb' \
        '*:: :->arguments'
    case $state in
    verb)
        local -a verbs=(
)";

constexpr const char* kArguments = R"(        )
        _describe verb verbs
        return
        ;;
    arguments) ;;
    *) return ;;
    esac
    case $words[1] in
)";

constexpr const char* kEnd = R"(    esac
}

if [ "$funcstack[1]" = _kova ]; then
    _kova "$@"
else
    compdef _kova kova
fi
)";

}  // namespace

std::string zshCompletion(const ProgramWords& words) {
    std::string names;
    std::string cases;
    for (const VerbWords& verb : words.verbs) {
        names += "            '" + verb.name + ":" + quotedEntry(verb.description) + "'\n";
        cases += "    " + verb.name + ")\n        _arguments -s -S" + optionSpecifications(verb) +
                 placeSpecifications(verb) + "\n        ;;\n";
    }
    return std::string(kHead) + optionSpecifications(words.program) + kVerbs + names + kArguments + cases +
           kEnd;
}

}  // namespace kova_tool
