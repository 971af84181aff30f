#include <kovadata/version.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>

#include "common/command_line.h"
#include "common/interruption.h"
#include "common/man_page.h"
#include "kova/cli/command_words.h"
#include "kova/failure.h"
#include "kova/output/message.h"
#include "kova/verbs/verbs.h"

// The command line: verbs are added to the parser, parsing chooses the action of one of them, and the action
// runs after it. All failures end here as a line on standard error and an exit status; verbs throw and never
// exit.
namespace {

using namespace kova_tool;
using kova_tool_common::CommandLine;
using kova_tool_common::ParserFacts;

constexpr HelpText kToolHelp = {
    R"(`kova VERB --help` explains a verb. Numbers in CSV and JSON are exact: they read back as the same
numbers. Progress is shown on standard error if that is a terminal.

Environment:
  KOVADATA_LOG_LEVEL  trace, debug, info, warn, error, fatal or off: switches logging on
  KOVADATA_PYTHON     interpreter for `kova export`, `kova plot` and `kova report`, python3 by default
)",
    R"(  kova info run.d                          what the analysis holds
  kova frames run.d --csv > frames.csv     one line per frame
  kova scans run.d --frame 3 --scans 0:10  the peaks of ten scans
  kova spectrum run.d --frame 3            the lines of a spectrum, without ion mobility
  kova xic run.d --mz 622.02:622.04        the chromatogram of an ion
  kova msms run.d --mgf run.mgf            export the MS/MS spectra of precursors
  kova convert run.d --frame 3 --from index --to mz 100000
  kova check run.d                         read everything, report damage
  kova export run.d -o run.mzML            write a file for other programs
  kova plot heatmap run.d --frame 3        draw a frame into heatmap.png
  kova report run.d -o run.html            what a run holds, as one page to pass on
)",
    "failure, reported on standard error; for check and frames also damage that was found"};

const kova_tool_common::ManPageSource kManPages = {"kova", KOVADATA_VERSION_STRING};

void addVerbs(const Parser& app, Action& action) {
    addInfo(app, action);
    addFrames(app, action);
    addScans(app, action);
    addSpectrum(app, action);
    addPeaks(app, action);
    addSum(app, action);
    addXic(app, action);
    addMsms(app, action);
    addConvert(app, action);
    addCheck(app, action);
    addExport(app, action);
    addPlot(app, action);
    addReport(app, action);
    addView(app, action);
    addCompletions(app, action);
}

std::string verbNames(const ParserFacts& program) {
    std::string names;
    for (const ParserFacts& verb : program.verbs) {
        names += (names.empty() ? "" : ", ") + verb.name;
    }
    return names;
}

bool isVerb(const ParserFacts& program, const std::string& word) {
    return std::ranges::find(program.verbs, word, &ParserFacts::name) != program.verbs.end();
}

// The command to try names the verb only if it exists.
int reportUsage(const ParserFacts& program, const char* verb, const std::string& text) {
    const bool isKnown = verb != nullptr && isVerb(program, verb);
    const std::string command = isKnown ? std::string("kova ") + verb : "kova";
    tell(text);
    if (!isKnown) {
        std::fprintf(stderr, "verbs: %s\n", verbNames(program).c_str());
    }
    std::fprintf(stderr, "try: %s --help\n", command.c_str());
    return kExitUsage;
}

int runAction(const ParserFacts& program, const char* verb, const Action& action) {
    try {
        return action();
    } catch (const UsageError& error) {
        return reportUsage(program, verb, error.what());
    } catch (const Failure& failure) {
        tell(failure.what());
        if (!failure.hint.empty()) {
            std::fprintf(stderr, "hint: %s\n", failure.hint.c_str());
        }
    } catch (const kova_tool_common::Interrupted& interrupted) {
        tell(interrupted.what());
        return interrupted.exitStatus();
    } catch (const std::exception& error) {
        tell(error.what());
    }
    return kExitFailure;
}

}  // namespace

int main(int argc, char** argv) {
    // Output that nobody reads any more ends the verb by way of the write that fails, not by a signal.
    std::signal(SIGPIPE, SIG_IGN);
    CommandLine commandLine(
        {"kova", "Shows what ion-mobility time-of-flight analyses hold.", KOVADATA_VERSION_STRING});
    const Parser parser = commandLine.parser();
    parser.footer(footerOf(kToolHelp));
    kova_tool_common::addManPages(parser, kManPages);
    Action action;
    addVerbs(parser, action);
    commandLine.requireVerb();
    const ParserFacts program = parser.facts();
    const char* const verb = argc > 1 ? argv[1] : nullptr;
    try {
        checkWords(program, argc, argv);
        if (const std::optional<int> status = commandLine.parse(argc, argv)) {
            return *status;
        }
    } catch (const UsageError& error) {
        return reportUsage(program, verb, error.what());
    }
    return runAction(program, verb, action);
}
