#include "kova/completions/scripts.h"

// bash knows nothing of options, so its script has two parts: tables of words, made from the parser, and an
// engine that walks along the command line and looks up in them what may come next.
namespace kova_tool {
namespace {

// Finds out which verb, option or argument the cursor is at; what can stand there is in the functions above.
constexpr const char* kEngine = R"(
_kova() {
    local current=${COMP_WORDS[COMP_CWORD]} verb= option= place=0 values=0 word i
    COMPREPLY=()
    [[ $current == "=" ]] && current=
    for ((i = 1; i < COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        if [[ $word == "=" ]]; then
            :
        elif ((values > 0)); then
            ((--values))
        elif [[ $word == -* ]]; then
            option=$word
            values=$(_kova_values "$verb $word")
        elif [[ -z $verb ]]; then
            verb=$word
        else
            ((++place))
        fi
    done
    local kind
    if ((values > 0)); then
        kind=$(_kova_kind "$verb $option")
    elif [[ $current == -* ]]; then
        kind=$(_kova_options "$verb")
    elif [[ -z $verb ]]; then
        kind=$(_kova_verbs)
    else
        kind=$(_kova_kind "$verb $place")
    fi
    case $kind in
        "<files>") compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
        "<directories>") compopt -o filenames; mapfile -t COMPREPLY < <(compgen -d -- "$current") ;;
        *) mapfile -t COMPREPLY < <(compgen -W "$kind" -- "$current") ;;
    esac
}
complete -F _kova kova
)";

std::string kindText(const WordPlace& place) {
    switch (place.kind) {
        case WordKind::Choices:
            return joined(place.choices);
        case WordKind::Files:
            return "<files>";
        case WordKind::Directories:
            return "<directories>";
        default:
            return "";
    }
}

// What prints nothing needs no line.
std::string caseLine(const std::string& pattern, const std::string& text) {
    return text.empty() ? "" : "        " + pattern + ") echo '" + text + "' ;;\n";
}

std::string pattern(const VerbWords& verb, const OptionWords& option) {
    std::string alternatives;
    for (const std::string& name : option.names) {
        alternatives += (alternatives.empty() ? "'" : "|'") + verb.name + " " + name + "'";
    }
    return alternatives;
}

std::string function(const std::string& name, const std::string& cases) {
    return "\n" + name + "() {\n    case $1 in\n" + cases + "    esac\n}\n";
}

std::string optionNames(const VerbWords& verb) {
    std::vector<std::string> names;
    for (const OptionWords& option : verb.options) {
        names.insert(names.end(), option.names.begin(), option.names.end());
    }
    return joined(names);
}

}  // namespace

std::string bashCompletion(const ProgramWords& words) {
    std::string values;
    std::string kinds;
    std::string options = caseLine("''", optionNames(words.program));
    std::vector<std::string> verbNames;
    for (const VerbWords& verb : words.verbs) {
        verbNames.push_back(verb.name);
        options += caseLine(verb.name, optionNames(verb));
        for (const OptionWords& option : verb.options) {
            if (option.values > 0) {
                values += caseLine(pattern(verb, option), std::to_string(option.values));
                kinds += caseLine(pattern(verb, option), kindText(option.value));
            }
        }
        for (std::size_t place = 0; place < verb.places.size(); ++place) {
            kinds +=
                caseLine("'" + verb.name + " " + std::to_string(place) + "'", kindText(verb.places[place]));
        }
    }
    return "# Completion of kova for bash, as `kova completions bash` prints it.\n\n_kova_verbs() { echo '" +
           joined(verbNames) + "'; }\n" + function("_kova_options", options) +
           function("_kova_values", values + caseLine("*", "0")) + function("_kova_kind", kinds) + kEngine;
}

}  // namespace kova_tool
