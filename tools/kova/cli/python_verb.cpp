#include "kova/cli/python_verb.h"

#include "common/words.h"
#include "kova/cli/number_input.h"
#include "kova/cli/ranges.h"

namespace kova_tool {
namespace {

std::string longName(const PassedOption& option) {
    const std::string names = option.names;
    return names.substr(names.find("--"));
}

void check(const PythonOptions::Given& given) {
    if (given.option.takes == Takes::Numbers) {
        numbersOf(given.values);
    }
    for (const std::string& value : given.values) {
        if (given.option.takes == Takes::Range) {
            parseValueRange(longName(given.option), value);
        }
    }
}

// A single value is part of its option's word, as it may begin with a dash.
void append(std::vector<std::string>& words, const PythonOptions::Given& given) {
    const std::string name = longName(given.option);
    if (given.values.size() == 1) {
        words.push_back(name + "=" + given.values.front());
    } else if (given.isThere || !given.values.empty()) {
        words.push_back(name);
        words.insert(words.end(), given.values.begin(), given.values.end());
    }
}

void appendCommon(std::vector<std::string>& words, const CommonOptions& options) {
    const auto pass = [&](bool isGiven, const std::string& word) {
        if (isGiven) {
            words.push_back(word);
        }
    };
    pass(options.json, "--json");
    pass(options.calibration.newest, "--recalibrated");
    pass(!options.calibration.state.empty(), "--calibration=" + options.calibration.state);
    pass(options.threads != 0, "--threads=" + std::to_string(options.threads));
    pass(options.skipDamaged, "--skip-damaged");
    pass(options.quiet, "--quiet");
}

}  // namespace

void addPassed(const Parser& verb, PythonOptions& options, std::span<const PassedOption> passed) {
    for (const PassedOption& option : passed) {
        PythonOptions::Given& given = options.given.emplace_back(PythonOptions::Given{option});
        if (option.takes == Takes::Nothing) {
            verb.flag(option.names, given.isThere, option.text);
            continue;
        }
        const std::string type = option.type;
        const Option added = verb.option(option.names, given.values, option.text)
                                 .values(option.values)
                                 .type(type)
                                 .shownAs(type);
        if (type.starts_with('{')) {
            added.oneOf(kova_tool_common::split(type.substr(1, type.size() - 2), ','));
        } else if (option.takes == Takes::CountFromOne) {
            requirePositive(added);
        }
    }
}

void addAnalyses(const Parser& verb, PythonOptions& options, const char* text) {
    verb.option("ANALYSIS", options.directories, text).required().type("").shownAs("... (required)");
}

void runPythonVerb(const PythonProgram& program, std::vector<std::string> arguments,
                   const PythonOptions& options) {
    for (const PythonOptions::Given& given : options.given) {
        check(given);
        append(arguments, given);
    }
    appendCommon(arguments, options);
    arguments.emplace_back("--");
    if (!options.directory.empty()) {
        arguments.push_back(options.directory);
    }
    arguments.insert(arguments.end(), options.directories.begin(), options.directories.end());
    runPythonModule(program, arguments);
}

}  // namespace kova_tool
