#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "failure.h"
#include "state_access.h"

namespace kova_tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kProgram = "kova-states";

bool needsStates(char** argv) {
    if (argv[0] == nullptr || argv[1] == nullptr) {
        return false;
    }
    const bool describes = argv[1] == std::string_view("info");
    for (char** argument = argv + 1; *argument != nullptr; ++argument) {
        const std::string_view text = *argument;
        if (text == "--calibration" || text.starts_with("--calibration=") ||
            (describes && text == "--recalibrated")) {
            return true;
        }
    }
    return false;
}

// Beside this program where it was built, below libexec where it is installed.
std::string programPath() {
    std::error_code error;
    const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
    const std::array candidates = {folder / kProgram, folder / KOVA_LIBEXEC_FROM_BIN / kProgram};
    const auto found = std::ranges::find_if(
        candidates, [](const fs::path& path) { return ::access(path.c_str(), X_OK) == 0; });
    return error || found == candidates.end() ? std::string() : found->string();
}

[[noreturn]] void throwMissing() {
    throw Failure("states of a re-calibration can be chosen and told apart only with the program " +
                      std::string(kProgram) + ", which cannot be run",
                  "it is installed together with kova");
}

}  // namespace

void handOver(char** argv) {
    if (!needsStates(argv)) {
        return;
    }
    const std::string program = programPath();
    if (!program.empty()) {
        ::execv(program.c_str(), argv);
    }
}

std::uint64_t openWithState(AnalysisFormat, const std::string&, const std::string&) { throwMissing(); }

std::optional<std::string> keyOfStateInUse(AnalysisFormat, std::uint64_t) { throwMissing(); }

}  // namespace kova_tool
