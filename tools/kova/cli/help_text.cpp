#include "kova/cli/help_text.h"

#include "kova/failure.h"

namespace kova_tool {
namespace {

std::string statusLine(ExitStatus status, const std::string& meaning) {
    return "  " + std::to_string(status) + "  " + meaning + "\n";
}

}  // namespace

std::string footerOf(const HelpText& help) {
    return std::string(help.notes) + "\nExamples:\n" + help.examples + "\nExit status:\n" +
           statusLine(kExitOk, "success") + statusLine(kExitFailure, help.failure) +
           statusLine(kExitUsage, "wrong usage");
}

}  // namespace kova_tool
