#include <kovadata/version.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>

#include "failure.h"
#include "state_access.h"
#include "verbs.h"

namespace {

using namespace kova_tool;

constexpr const char* kExamples =
    "Examples:\n"
    "  kova info run.d                          what the analysis holds\n"
    "  kova frames run.d --csv > frames.csv     one line per frame\n"
    "  kova scans run.d --frame 3 --scans 0:10  the peaks of ten scans\n"
    "  kova spectrum run.d --frame 3            the lines of a spectrum, without ion mobility\n"
    "  kova msms run.d --mgf run.mgf            export the MS/MS spectra of precursors\n"
    "  kova check run.d                         read everything, report damage\n"
    "\n"
    "Exit status: 0 success, 1 failure, 2 wrong usage. `kova VERB --help` tells more about a verb.\n";

void describe(CLI::App& app) {
    app.name("kova");
    app.description("Shows what ion-mobility time-of-flight analyses hold.");
    app.set_version_flag("--version", "kova " KOVADATA_VERSION_STRING, "print the version and exit");
    app.set_help_flag("-h,--help", "print this help and exit");
    app.footer(kExamples);
    app.get_formatter()->label("SUBCOMMAND", "VERB");
    app.get_formatter()->label("REQUIRED", "(required)");
    app.get_formatter()->label("Excludes", "not with");
}

void addVerbs(CLI::App& app, Action& action) {
    addInfo(app, action);
    addFrames(app, action);
    addScans(app, action);
    addSpectrum(app, action);
    addMsms(app, action);
    addCheck(app, action);
    for (CLI::App* verb : app.get_subcommands([](CLI::App*) { return true; })) {
        verb->group("Verbs");
    }
    app.require_subcommand(1);
}

// The parser's own texts for these speak of subcommands and unexpected arguments.
void checkVerb(const CLI::App& app, int argc, char** argv) {
    if (argc < 2) {
        throw UsageError("a verb is required");
    }
    const std::string first = argv[1];
    if (first.starts_with('-') && first != "-h" && first != "--help" && first != "--version") {
        throw UsageError("unknown option '" + first + "'");
    }
    if (!first.starts_with('-') &&
        app.get_subcommands([&](const CLI::App* verb) { return verb->get_name() == first; }).empty()) {
        throw UsageError("unknown verb '" + first + "'");
    }
}

std::string verbNames(const CLI::App& app) {
    std::string names;
    for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; })) {
        names += (names.empty() ? "" : ", ") + verb->get_name();
    }
    return names;
}

int reportUsage(const CLI::App& app, const std::string& text) {
    const auto verbs = app.get_subcommands();
    const std::string command = verbs.empty() ? "kova" : "kova " + verbs.front()->get_name();
    std::fprintf(stderr, "kova: %s\n", text.c_str());
    if (verbs.empty()) {
        std::fprintf(stderr, "verbs: %s\n", verbNames(app).c_str());
    }
    std::fprintf(stderr, "try: %s --help\n", command.c_str());
    return kExitUsage;
}

int runAction(const CLI::App& app, const Action& action) {
    try {
        return action();
    } catch (const UsageError& error) {
        return reportUsage(app, error.what());
    } catch (const Failure& failure) {
        std::fprintf(stderr, "kova: %s\n", failure.what());
        if (!failure.hint.empty()) {
            std::fprintf(stderr, "hint: %s\n", failure.hint.c_str());
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kova: %s\n", error.what());
    }
    return kExitFailure;
}

}  // namespace

int main(int argc, char** argv) {
    handOver(argv);
    // Output that nobody reads any more ends the verb by way of the write that fails, not by a signal.
    std::signal(SIGPIPE, SIG_IGN);
    CLI::App app;
    Action action;
    describe(app);
    addVerbs(app, action);
    try {
        checkVerb(app, argc, argv);
        app.parse(argc, argv);
    } catch (const CLI::Success& request) {
        return app.exit(request);
    } catch (const CLI::ParseError& error) {
        return reportUsage(app, error.what());
    } catch (const UsageError& error) {
        return reportUsage(app, error.what());
    }
    return runAction(app, action);
}
